#pragma once

#include <string>

// Opens a web address or a document with the desktop's handler (xdg-open). The target is
// passed as one argument, never through a shell, and the handler runs detached from the
// host: the call returns at once and leaves no child behind. False if no handler exists
// or it could not be started.
bool mfDesktopOpen(const std::string& target);
