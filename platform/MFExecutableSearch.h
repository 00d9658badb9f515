#pragma once

#include <string>

// The full path of a program found in the absolute folders of PATH, or empty. Relative and
// empty elements are skipped: they would run whatever the current folder holds.
std::string mfFindOnPath(const char* name);
