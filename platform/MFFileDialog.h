#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The open and save file dialogs. This class shows the desktop's own dialog by running
// zenity or kdialog (whichever is found first on PATH) when a display exists; callers
// hold it by reference so that tests and other front ends can substitute a subclass.
// Main thread only: run() blocks until the user has chosen.
class MFFileDialog {
public:
    static constexpr std::size_t maxPathBytes = 1024;

    enum class Mode { open, save };
    enum class Result { chosen, cancelled, unavailable };

    struct FileType {
        std::string description;
        std::string extension; // without the point
    };

    virtual ~MFFileDialog() = default;

    // Shows the dialog. On chosen, path holds the selection (at most maxPathBytes - 1
    // bytes); otherwise path is left empty.
    virtual Result run(Mode mode, const std::string& title, const std::string& initialFolder,
                       const std::vector<FileType>& types, std::string& path);

protected:
    // Runs program with the arguments (no shell) and collects at most maxPathBytes bytes
    // of its standard output; returns its exit status, or -1 when it could not run or
    // printed too much.
    static int runProgram(const std::string& program, const std::vector<std::string>& arguments,
                          std::string& output);
    // The full path of an executable found on PATH, or empty.
    static std::string findOnPath(const char* name);
    static bool displayAvailable();
};
