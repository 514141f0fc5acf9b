// The program of a site with services, which takes the place of the plain one.

#include "proxy/Commands.h"
#include "proxy/services/ServiceKit.h"

int main(int argumentCount, char** arguments) {
    return MuxProxy::RunProgram(argumentCount, arguments, &MuxProxy::kServiceKit);
}
