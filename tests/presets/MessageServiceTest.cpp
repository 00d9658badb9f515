#include "platform/MFMessageService.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> shown;

// A handler that, while its box is up, triggers further messages, as an event loop
// running inside a modal box can.
bool nestingHandler(MFMessageService::Kind kind, const char* text) {
    shown.push_back(std::string(kind == MFMessageService::Kind::notice ? "notice: " : "") + text);
    if (std::string(text) == "first") {
        MFMessageService::showMessage("second %d", 2);
        MFMessageService::showNotice("a notice");
    }
    return true;
}

} // namespace

TEST(MessageService, MessagesDoNotStackWhileABoxIsUp) {
    shown.clear();
    MFMessageService::setHandler(&nestingHandler);
    MFMessageService::showMessage("first");
    // The nested message was dropped, the notice (which has no guard) was shown, and
    // once the first box is closed messages show again.
    EXPECT_EQ(shown, (std::vector<std::string>{"first", "notice: a notice"}));
    MFMessageService::showMessage("third %s", "box");
    EXPECT_EQ(shown.back(), "third box");
    MFMessageService::setHandler(nullptr);
}
