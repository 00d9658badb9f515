#include "platform/MFFileDialog.h"

#include "platform/MFExecutableSearch.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// zenity and kdialog both answer 1 when the user cancels.
constexpr int cancelStatus = 1;

std::vector<std::string> zenityArguments(MFFileDialog::Mode mode, const std::string& title,
                                         const std::string& initialFolder,
                                         const std::vector<MFFileDialog::FileType>& types) {
    std::vector<std::string> args{"zenity", "--file-selection", "--title=" + title};
    if (mode == MFFileDialog::Mode::save) {
        args.push_back("--save");
        args.push_back("--confirm-overwrite");
    }
    if (!initialFolder.empty())
        args.push_back("--filename=" + initialFolder);
    for (const MFFileDialog::FileType& type : types)
        args.push_back("--file-filter=" + type.description + " | *." + type.extension);
    return args;
}

std::vector<std::string> kdialogArguments(MFFileDialog::Mode mode, const std::string& title,
                                          const std::string& initialFolder,
                                          const std::vector<MFFileDialog::FileType>& types) {
    std::string filter;
    for (const MFFileDialog::FileType& type : types) {
        if (!filter.empty())
            filter += '\n';
        filter += "*." + type.extension + "|" + type.description;
    }
    std::vector<std::string> args{"kdialog", "--title", title,
                                  mode == MFFileDialog::Mode::save ? "--getsavefilename"
                                                                   : "--getopenfilename",
                                  initialFolder.empty() ? std::string(".") : initialFolder};
    if (!filter.empty())
        args.push_back(filter);
    return args;
}

} // namespace

bool MFFileDialog::displayAvailable() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 && x11[0]) || (wayland && wayland[0]);
}

std::string MFFileDialog::findOnPath(const char* name) {
    return mfFindOnPath(name);
}

int MFFileDialog::runProgram(const std::string& program, const std::vector<std::string>& arguments,
                             std::string& output) {
    output.clear();
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0)
        return -1;
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // The tools chatter on stderr (deprecation notes, GTK warnings); the host's log is not theirs.
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int spawned =
        ::posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeEnds[1]);
    if (spawned != 0) {
        ::close(pipeEnds[0]);
        return -1;
    }

    bool tooLong = false;
    char buffer[256];
    for (;;) {
        const ssize_t got = ::read(pipeEnds[0], buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        // Keep draining so the child never blocks on a full pipe, but keep no more.
        if (output.size() + std::size_t(got) > maxPathBytes)
            tooLong = true;
        else
            output.append(buffer, std::size_t(got));
    }
    ::close(pipeEnds[0]);

    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    if (tooLong || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

MFFileDialog::Result MFFileDialog::run(Mode mode, const std::string& title,
                                       const std::string& initialFolder,
                                       const std::vector<FileType>& types, std::string& path) {
    path.clear();
    if (!displayAvailable())
        return Result::unavailable;
    std::vector<std::string> arguments;
    std::string program = findOnPath("zenity");
    if (!program.empty()) {
        arguments = zenityArguments(mode, title, initialFolder, types);
    } else {
        program = findOnPath("kdialog");
        if (program.empty())
            return Result::unavailable;
        arguments = kdialogArguments(mode, title, initialFolder, types);
    }

    std::string output;
    const int status = runProgram(program, arguments, output);
    if (status < 0)
        return Result::unavailable;
    if (status == cancelStatus)
        return Result::cancelled;
    if (status != 0)
        return Result::unavailable;
    while (!output.empty() && (output.back() == '\n' || output.back() == '\r'))
        output.pop_back();
    // One path only: anything with a newline left in it or too long is not a choice.
    if (output.empty() || output.size() >= maxPathBytes || output.find('\n') != std::string::npos)
        return Result::cancelled;
    path = std::move(output);
    return Result::chosen;
}
