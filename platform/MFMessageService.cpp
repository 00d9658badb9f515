#include "platform/MFMessageService.h"

#include <atomic>
#include <cstdio>

namespace {

bool defaultHandler(MFMessageService::Kind kind, const char* text) {
    const char* label = kind == MFMessageService::Kind::okCancel ? "question" : "message";
    std::fprintf(stderr, "Cadenzoid %s: %s\n", label, text);
    return false;
}

std::atomic<MFMessageService::Handler> currentHandler{&defaultHandler};

// Set while a showMessage box is up: a second error raised meanwhile (another thread, or a
// handler that pumps events) is dropped rather than stacking boxes on the user.
std::atomic<bool> messageShowing{false};

} // namespace

void MFMessageService::setHandler(Handler handler) {
    currentHandler.store(handler ? handler : &defaultHandler, std::memory_order_release);
}

bool MFMessageService::deliver(Kind kind, const char* format, va_list args) {
    char text[bufferSize];
    std::vsnprintf(text, sizeof text, format, args);
    return currentHandler.load(std::memory_order_acquire)(kind, text);
}

void MFMessageService::showMessage(const char* format, ...) {
    if (messageShowing.exchange(true, std::memory_order_acq_rel))
        return;
    va_list args;
    va_start(args, format);
    deliver(Kind::message, format, args);
    va_end(args);
    messageShowing.store(false, std::memory_order_release);
}

void MFMessageService::showNotice(const char* text) {
    currentHandler.load(std::memory_order_acquire)(Kind::notice, text);
}

bool MFMessageService::askOkCancel(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const bool ok = deliver(Kind::okCancel, format, args);
    va_end(args);
    return ok;
}
