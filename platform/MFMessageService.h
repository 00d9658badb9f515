#pragma once

#include <cstdarg>

// The program's modal boxes. Every message goes through one replaceable handler so that
// the editor can show real dialogs and tests can capture what would have been shown.
// Never call these from the audio thread: a handler may block on the user.
class MFMessageService {
public:
    enum class Kind { message, notice, okCancel };

    // Returns true for OK; only the answer to okCancel is used.
    using Handler = bool (*)(Kind kind, const char* text);

    // Installs a handler; null restores the default, which prints to stderr and
    // answers Cancel (without a user nothing destructive should be confirmed).
    static void setHandler(Handler handler);

    // printf-style; texts longer than 8191 bytes are cut. While one showMessage box is up,
    // further showMessage calls return at once; notices and questions are not guarded.
    static void showMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void showNotice(const char* text);
    static bool askOkCancel(const char* format, ...) __attribute__((format(printf, 1, 2)));

    static constexpr int bufferSize = 8192;

private:
    static bool deliver(Kind kind, const char* format, va_list args);
};
