// The program of a plain site.

#include "proxy/Commands.h"

int main(int argumentCount, char** arguments) {
    return MuxProxy::RunProgram(argumentCount, arguments, nullptr);
}
