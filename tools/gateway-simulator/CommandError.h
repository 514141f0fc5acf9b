#pragma once

#include "tools/json/InputError.h"

namespace Simulator {

// What is wrong with a command line, or with a file that it names.
using CommandError = Tools::InputError;

}  // namespace Simulator
