#include "platform/MFModulePath.h"

#include <dlfcn.h>

std::string mfModuleFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&mfModuleFolder), &info) == 0 || !info.dli_fname)
        return {};
    std::string path = info.dli_fname;
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}
