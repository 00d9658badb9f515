#pragma once

#include <string>

// The folder of the shared library (or program) this code was loaded from, with a
// trailing separator; empty when the system cannot tell.
std::string mfModuleFolder();
