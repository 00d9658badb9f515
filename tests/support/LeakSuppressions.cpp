// Leaks the sanitizer should not count, compiled into every test executable. Only a leak
// checker reads this.

// fontconfig leaks a few hundred bytes once per process while it parses its
// configuration (the first font match); nothing of ours can give them back.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
