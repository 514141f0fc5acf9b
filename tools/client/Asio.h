#pragma once

// Asio for the library's source files; no public header includes it.
//
// A program may use Asio itself, with other settings or of another version, and the linker keeps only one copy of each
// inline function. So the library's copy is in a namespace of its own.
#define asio MuxClientAsio

#include <asio.hpp>
#include <asio/ssl.hpp>
