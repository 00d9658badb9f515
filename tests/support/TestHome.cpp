// Every test executable gets a home of its own inside the build tree before main runs:
// the plug-in reads and writes per-user settings and content, never the user's here.

#include <cstdlib>

namespace {
struct TestHome {
    TestHome() {
        setenv("XDG_CONFIG_HOME", CADENZOID_TEST_HOME "/config", 1);
        setenv("XDG_DATA_HOME", CADENZOID_TEST_HOME "/data", 1);
        // A system-wide install on the machine must not lend the tests its factory content.
        setenv("XDG_DATA_DIRS", CADENZOID_TEST_HOME "/shared", 1);
    }
};
const TestHome testHome;
} // namespace
