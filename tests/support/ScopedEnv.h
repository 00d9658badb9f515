#pragma once

#include <cstdlib>
#include <string>

// Sets an environment variable, or unsets it for nullptr, until the end of the scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name(name) {
        const char* before = std::getenv(name);
        had = before != nullptr;
        saved = had ? before : "";
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        if (had)
            setenv(name.c_str(), saved.c_str(), 1);
        else
            unsetenv(name.c_str());
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name;
    std::string saved;
    bool had = false;
};
