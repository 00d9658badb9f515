#include "platform/MFDesktopOpen.h"

#include "platform/MFExecutableSearch.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

bool mfDesktopOpen(const std::string& target) {
    if (target.empty())
        return false;
    const std::string program = mfFindOnPath("xdg-open");
    if (program.empty())
        return false;
    // Everything the children need is made before the fork: after it, in a process with
    // other threads, only async-signal-safe calls are allowed.
    char* const argv[] = {const_cast<char*>("xdg-open"), const_cast<char*>(target.c_str()),
                          nullptr};
    const pid_t child = ::fork();
    if (child < 0)
        return false;
    if (child == 0) {
        // The middle process exits at once; the grandchild is adopted by init, so the host
        // has no child to reap and never waits for the browser.
        if (::fork() == 0) {
            ::setsid();
            const int null = ::open("/dev/null", O_RDWR);
            if (null >= 0) {
                ::dup2(null, STDIN_FILENO);
                ::dup2(null, STDOUT_FILENO);
                ::dup2(null, STDERR_FILENO);
            }
            // The host's files (audio devices, sockets) are not the handler's.
            ::syscall(SYS_close_range, 3U, ~0U, 0U);
            ::execve(program.c_str(), argv, environ);
            ::_exit(127);
        }
        ::_exit(0);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
