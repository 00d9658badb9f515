#include "platform/MFExecutableSearch.h"

#include <cstdlib>
#include <unistd.h>

std::string mfFindOnPath(const char* name) {
    const char* path = std::getenv("PATH");
    if (!path || !name || !*name)
        return {};
    const std::string list(path);
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find(':', start);
        if (end == std::string::npos)
            end = list.size();
        if (end > start && list[start] == '/') {
            std::string candidate = list.substr(start, end - start) + "/" + name;
            if (::access(candidate.c_str(), X_OK) == 0)
                return candidate;
        }
        start = end + 1;
    }
    return {};
}
