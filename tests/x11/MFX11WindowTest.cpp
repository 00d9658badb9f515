// The editor's X11 window in a real X server (Xvfb in CI): input sent through XTest must
// arrive as the toolkit's bit set at window coordinates, pixels must reach the screen
// exactly, and every way a host or a server can end a window must leave nothing behind.

// GoogleTest before Xlib, whose macros (None, Bool) would rename GoogleTest's names.
#include <gtest/gtest.h>

#include "platform/MFX11Window.h"

#include "X11TestSupport.h"
#include "tests/support/ScopedEnv.h"

#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int width = 770;
constexpr int height = 525;
// The parent stands away from the screen's corner, so that root and window coordinates
// differ by this much.
constexpr int parentX = 40;
constexpr int parentY = 30;

constexpr long left = 2, middle = 4, right = 8, shift = 16, control = 32, alt = 64;
constexpr long doubleClick = 1024;

struct Event {
    enum Kind { down, up, moved, wheel, key, enter, leave, expose, closed } kind;
    int x = 0, y = 0, w = 0, h = 0;
    long bits = 0;
    float distance = 0.0f;
    int virtualKey = 0, character = 0;
};

// Records every call; uses F2 like the editor does and nothing else.
class Recorder : public MFWindowEvents {
public:
    std::vector<Event> log;
    std::function<void(const Event&)> onEvent;

    void windowMouseDown(int x, int y, long b) override { add({Event::down, x, y, 0, 0, b}); }
    void windowMouseUp(int x, int y, long b) override { add({Event::up, x, y, 0, 0, b}); }
    void windowMouseMoved(int x, int y, long b) override { add({Event::moved, x, y, 0, 0, b}); }
    void windowWheel(int x, int y, float d, long b) override {
        add({Event::wheel, x, y, 0, 0, b, d});
    }
    bool windowKeyDown(int vk, int ch, long mods) override {
        add({Event::key, 0, 0, 0, 0, mods, 0.0f, vk, ch});
        return vk == 41;
    }
    void windowEnterLeave(bool entered) override { add({entered ? Event::enter : Event::leave}); }
    void windowExpose(int x, int y, int w, int h) override { add({Event::expose, x, y, w, h}); }
    void windowClosed() override { add({Event::closed}); }

    int count(Event::Kind kind) const { return int(all(kind).size()); }
    std::vector<Event> all(Event::Kind kind) const {
        std::vector<Event> found;
        for (const Event& e : log)
            if (e.kind == kind)
                found.push_back(e);
        return found;
    }
    void clear() { log.clear(); }

private:
    void add(const Event& e) {
        log.push_back(e);
        if (onEvent)
            onEvent(e);
    }
};

uint32_t firstPattern(int x, int y) {
    return 0xff000000u | uint32_t((x * 7) & 0xff) << 16 | uint32_t((y * 3) & 0xff) << 8 |
           uint32_t((x ^ y) & 0xff);
}

uint32_t secondPattern(int x, int y) {
    return 0xff000000u | uint32_t((y * 5) & 0xff) << 16 | uint32_t((x + y) & 0xff) << 8 | 0x40u;
}

// A back buffer as the toolkit keeps one: 32-bit pixels, rows padded past the width so
// that a mix-up of stride and width shows.
struct BackBuffer {
    static constexpr int padding = 64;
    int stride = width * 4 + padding;
    std::vector<uint32_t> words = std::vector<uint32_t>(std::size_t(stride / 4) * height, 0u);

    uint32_t& at(int x, int y) { return words[std::size_t(y) * std::size_t(stride / 4) + x]; }
    const unsigned char* bytes() const {
        return reinterpret_cast<const unsigned char*>(words.data());
    }
};

class X11Window : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::getenv("DISPLAY"))
            GTEST_SKIP() << "no X server in DISPLAY: these tests run under xvfb-run";
        ASSERT_TRUE(server.ok()) << "cannot reach the X server of DISPLAY, or it has no XTest";
        errorsBefore = MFX11Window::unexpectedErrorCount();
        filesBefore = openFileCount();
        segmentsBefore = sharedSegmentCount();
        parent = server.createParent(parentX, parentY, width, height);
        server.moveTo(2, 2); // away from every window
    }

    void TearDown() override {
        if (!server.ok())
            return;
        window.close();
        EXPECT_EQ(MFX11Window::openConnectionCount(), 0);
        EXPECT_EQ(MFX11Window::unexpectedErrorCount(), errorsBefore) << "X errors of the window";
        EXPECT_EQ(server.errors(), expectedServerErrors) << "X errors on the test's connection";
        // Every way a window ends leaves no connection open and no segment attached.
        EXPECT_EQ(openFileCount(), filesBefore) << "a connection was left open";
        EXPECT_EQ(sharedSegmentCount(), segmentsBefore) << "a shared-memory segment stayed";
    }

    // Opens and waits for the first exposure: from then on the window is viewable.
    bool openAndShow(MFX11Window& w, Recorder& r, Window in) {
        if (!w.open(in, width, height, &r))
            return false;
        return pumpUntil([&] { w.pump(); }, [&] { return r.count(Event::expose) > 0; });
    }
    bool openAndShow() { return openAndShow(window, events, parent); }

    bool waitFor(Event::Kind kind, int n = 1) {
        return pumpUntil([&] { window.pump(); }, [&] { return events.count(kind) >= n; });
    }

    void clickAt(int x, int y, unsigned int button = 1) {
        server.click(parentX + x, parentY + y, button);
    }

    X11TestServer server;
    Window parent = 0;
    MFX11Window window;
    Recorder events;
    int errorsBefore = 0, filesBefore = 0, segmentsBefore = 0;
    int expectedServerErrors = 0;
};

TEST_F(X11Window, OpensAMappedChildOfTheAskedSizeInTheParent) {
    ASSERT_TRUE(openAndShow());
    EXPECT_TRUE(window.isOpen());
    EXPECT_EQ(MFX11Window::openConnectionCount(), 1);

    Window root = 0, up = 0, *children = nullptr;
    unsigned int count = 0;
    ASSERT_TRUE(XQueryTree(server.connection(), parent, &root, &up, &children, &count));
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(children[0], window.windowId());
    XFree(children);

    XWindowAttributes a{};
    ASSERT_TRUE(XGetWindowAttributes(server.connection(), window.windowId(), &a));
    EXPECT_EQ(a.x, 0);
    EXPECT_EQ(a.y, 0);
    EXPECT_EQ(a.width, width);
    EXPECT_EQ(a.height, height);
    EXPECT_EQ(a.map_state, IsViewable);

    // The first exposure asks for the whole window.
    const Event first = events.all(Event::expose).front();
    EXPECT_EQ(first.x, 0);
    EXPECT_EQ(first.y, 0);
    EXPECT_EQ(first.w, width);
    EXPECT_EQ(first.h, height);

    for (int kind : {2, 9, 0, 5, 9})
        window.setCursor(kind);
    server.sync();
}

// Both pixel paths: shared memory, and XPutImage through the socket.
class X11WindowPixels : public X11Window, public ::testing::WithParamInterface<bool> {};

TEST_P(X11WindowPixels, PresentedAreasReadBackPixelForPixel) {
    const bool sharedMemory = GetParam();
    window.allowSharedMemory(sharedMemory);
    ASSERT_TRUE(openAndShow());
    ASSERT_EQ(window.usesSharedMemory(), sharedMemory)
        << "the server under test (Xvfb) offers MIT-SHM on a local connection";

    BackBuffer buffer;
    std::vector<uint32_t> expected(std::size_t(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            expected[std::size_t(y) * width + x] =
                (buffer.at(x, y) = firstPattern(x, y)) & 0xffffff;
    window.present(buffer.bytes(), buffer.stride, 0, 0, width, height);
    std::vector<uint32_t> seen;
    auto shows = [&](const std::vector<uint32_t>& want) {
        return pumpUntil(
            [&] { window.pump(); },
            [&] { return (seen = server.capture(window.windowId(), width, height)) == want; });
    };
    ASSERT_TRUE(shows(expected)) << "the full picture differs from the back buffer";
    EXPECT_GT(distinctColours(seen), 1000u);

    // Only the area handed over travels: the whole buffer changes, one area is presented.
    const int ax = 100, ay = 200, aw = 200, ah = 60;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            buffer.at(x, y) = secondPattern(x, y);
            if (x >= ax && x < ax + aw && y >= ay && y < ay + ah)
                expected[std::size_t(y) * width + x] = secondPattern(x, y) & 0xffffff;
        }
    window.present(buffer.bytes(), buffer.stride, ax, ay, aw, ah);
    EXPECT_TRUE(shows(expected)) << "an area landed elsewhere, or more than the area went out";

    // An area reaching past the window's edges is cut to them.
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 20; ++x)
            expected[std::size_t(y) * width + x] = secondPattern(x, y) & 0xffffff;
    for (int y = height - 5; y < height; ++y)
        for (int x = width - 5; x < width; ++x)
            expected[std::size_t(y) * width + x] = secondPattern(x, y) & 0xffffff;
    window.present(buffer.bytes(), buffer.stride, -10, -10, 30, 30);
    window.present(buffer.bytes(), buffer.stride, width - 5, height - 5, 50, 50);
    EXPECT_TRUE(shows(expected));
}

INSTANTIATE_TEST_SUITE_P(Paths, X11WindowPixels, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "SharedMemory" : "PutImage"; });

// Each button, and the left one with modifier keys held, arrives as the toolkit's bit set
// at window coordinates; after the release no button is held.
TEST_F(X11Window, ButtonsAndModifiersArriveAsTheBitSetAtWindowCoordinates) {
    ASSERT_TRUE(openAndShow());
    struct Case {
        unsigned int button;
        std::vector<unsigned long> keys;
        long expected;
    };
    const Case cases[] = {{1, {}, left},
                          {2, {}, middle},
                          {3, {}, right},
                          {1, {XK_Shift_L}, left | shift},
                          {1, {XK_Control_L}, left | control},
                          {1, {XK_Alt_L}, left | alt},
                          {1, {XK_Shift_L, XK_Control_L}, left | shift | control}};
    int x = 100;
    for (const Case& c : cases) {
        events.clear();
        for (unsigned long k : c.keys)
            server.key(k, true);
        clickAt(x, 60, c.button); // a new place each time: no double click
        for (unsigned long k : c.keys)
            server.key(k, false);
        ASSERT_TRUE(waitFor(Event::up)) << "click at x " << x;
        const Event down = events.all(Event::down).at(0);
        const Event up = events.all(Event::up).at(0);
        EXPECT_EQ(down.bits, c.expected) << "click at x " << x;
        EXPECT_EQ(up.bits, c.expected & ~(left | middle | right)) << "click at x " << x;
        EXPECT_EQ(down.x, x);
        EXPECT_EQ(up.x, x);
        EXPECT_EQ(down.y, 60);
        EXPECT_EQ(up.y, 60);
        x += 40;
    }
}

TEST_F(X11Window, ADragKeepsItsButtonAndFollowsTheMouseOutside) {
    ASSERT_TRUE(openAndShow());
    server.moveTo(parentX + 100, parentY + 50);
    server.button(1, true);
    server.moveTo(parentX + 130, parentY + 90);
    ASSERT_TRUE(pumpUntil([&] { window.pump(); },
                          [&] {
                              const auto moves = events.all(Event::moved);
                              return !moves.empty() && moves.back().x == 130 &&
                                     moves.back().y == 90;
                          }));
    EXPECT_EQ(events.all(Event::moved).back().bits, left);

    // Past the window's top left corner: the press holds the mouse, coordinates go negative.
    server.moveTo(parentX - 30, parentY - 20);
    server.button(1, false);
    ASSERT_TRUE(waitFor(Event::up));
    const Event up = events.all(Event::up).at(0);
    EXPECT_EQ(up.x, -30);
    EXPECT_EQ(up.y, -20);
    EXPECT_EQ(events.all(Event::moved).back().bits, left);
}

TEST_F(X11Window, ASecondPressSoonAndNearbyIsADoubleClick) {
    ASSERT_TRUE(openAndShow());
    auto downs = [&](int n) {
        EXPECT_TRUE(waitFor(Event::down, n));
        std::vector<long> bits;
        for (const Event& e : events.all(Event::down))
            bits.push_back(e.bits);
        events.clear();
        return bits;
    };

    clickAt(200, 100);
    clickAt(203, 102); // a few pixels off still counts
    clickAt(203, 102); // a third press starts a new pair
    EXPECT_EQ(downs(3), (std::vector<long>{left, left | doubleClick, left}));

    clickAt(300, 100);
    clickAt(310, 100); // too far
    EXPECT_EQ(downs(2), (std::vector<long>{left, left}));

    clickAt(300, 200);
    clickAt(300, 200, 3); // another button
    EXPECT_EQ(downs(2), (std::vector<long>{left, right}));

    clickAt(400, 200);
    pumpFor([&] { window.pump(); }, 450); // longer than the double-click time
    clickAt(400, 200);
    EXPECT_EQ(downs(2), (std::vector<long>{left, left}));
}

TEST_F(X11Window, WheelNotchesAreStepsAndNoClicks) {
    ASSERT_TRUE(openAndShow());
    clickAt(120, 70, 4);
    clickAt(120, 70, 5);
    server.key(XK_Shift_L, true);
    clickAt(120, 70, 5);
    server.key(XK_Shift_L, false);
    ASSERT_TRUE(waitFor(Event::wheel, 3));
    const auto notches = events.all(Event::wheel);
    EXPECT_EQ(notches[0].distance, 1.0f);
    EXPECT_EQ(notches[1].distance, -1.0f);
    EXPECT_EQ(notches[2].distance, -1.0f);
    EXPECT_EQ(notches[0].x, 120);
    EXPECT_EQ(notches[0].y, 70);
    EXPECT_EQ(notches[0].bits, 0);
    EXPECT_EQ(notches[2].bits, shift);
    EXPECT_EQ(events.count(Event::down) + events.count(Event::up), 0);
}

TEST_F(X11Window, F2ReachesTheEditorAndKeysItDoesNotUseReachTheParent) {
    const Window keyParent =
        server.createParent(parentX, parentY, width, height, KeyPressMask | KeyReleaseMask);
    ASSERT_TRUE(openAndShow(window, events, keyParent));
    server.moveTo(parentX + 50, parentY + 50);
    window.takeFocus();

    server.tap(XK_F2);
    server.key(XK_Shift_L, true);
    server.tap(XK_F2);
    server.key(XK_Shift_L, false);
    server.tap(XK_a);
    ASSERT_TRUE(pumpUntil([&] { window.pump(); },
                          [&] {
                              const auto keys = events.all(Event::key);
                              return !keys.empty() && keys.back().character == 'a';
                          }));
    std::vector<Event> keys;
    for (const Event& e : events.all(Event::key))
        if (e.virtualKey != 54) // the shift key itself comes too, and goes to the parent
            keys.push_back(e);
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_EQ(keys[0].virtualKey, 41);
    EXPECT_EQ(keys[0].bits, 0);
    EXPECT_EQ(keys[1].virtualKey, 41);
    EXPECT_EQ(keys[1].bits, shift);
    EXPECT_EQ(keys[2].virtualKey, 0);
    EXPECT_EQ(keys[2].character, 'a');

    // The parent hears the keys the editor left, press and release, and never F2.
    std::vector<KeySym> pressed, released;
    XEvent e;
    while (server.nextEvent(keyParent, KeyPress, e, 200))
        pressed.push_back(XLookupKeysym(&e.xkey, 0));
    while (server.nextEvent(keyParent, KeyRelease, e, 50))
        released.push_back(XLookupKeysym(&e.xkey, 0));
    EXPECT_EQ(pressed, (std::vector<KeySym>{XK_Shift_L, XK_a}));
    EXPECT_EQ(released, (std::vector<KeySym>{XK_Shift_L, XK_a}));
    server.destroyWindow(keyParent);
}

TEST_F(X11Window, EnterAndLeaveComeOncePerCrossing) {
    ASSERT_TRUE(openAndShow());
    server.moveTo(parentX + 10, parentY + 10);
    server.moveTo(parentX + 20, parentY + 30);
    ASSERT_TRUE(waitFor(Event::enter));
    server.moveTo(parentX + width + 20, parentY + 10);
    ASSERT_TRUE(waitFor(Event::leave));
    pumpFor([&] { window.pump(); }, 50);
    EXPECT_EQ(events.count(Event::enter), 1);
    EXPECT_EQ(events.count(Event::leave), 1);
}

TEST_F(X11Window, AnUncoveredAreaIsExposedInWindowCoordinates) {
    ASSERT_TRUE(openAndShow());
    events.clear();
    // A cover with a smaller window on top: uncovering leaves a ring, several rectangles
    // that arrive in one burst and come to the editor as one area.
    const Window cover = server.createParent(parentX + 100, parentY + 80, 200, 50);
    const Window middle = server.createParent(parentX + 150, parentY + 90, 50, 20);
    server.destroyWindow(cover);
    ASSERT_TRUE(waitFor(Event::expose));
    const Event e = events.all(Event::expose).back();
    EXPECT_LE(e.x, 100);
    EXPECT_LE(e.y, 80);
    EXPECT_GE(e.x + e.w, 300);
    EXPECT_GE(e.y + e.h, 130);
    EXPECT_LE(e.x + e.w, width);
    EXPECT_LE(e.y + e.h, height);
    EXPECT_EQ(events.count(Event::expose), 1);
    server.destroyWindow(middle);
}

TEST_F(X11Window, ABadParentLeavesNothingOpenAndCountsNoError) {
    const Window gone = server.createParent(0, 0, 10, 10);
    server.destroyWindow(gone);
    for (const unsigned long id : {0ul, server.unusedWindowId(), gone}) {
        EXPECT_FALSE(window.open(id, width, height, &events)) << "parent 0x" << std::hex << id;
        EXPECT_FALSE(window.isOpen());
        EXPECT_EQ(window.windowId(), 0ul);
        EXPECT_EQ(MFX11Window::openConnectionCount(), 0);
    }
    EXPECT_FALSE(window.open(parent, 0, height, &events));
    EXPECT_FALSE(window.open(parent, width, height, nullptr));
    EXPECT_EQ(MFX11Window::openConnectionCount(), 0);
    // A good parent after the bad ones opens as usual.
    EXPECT_TRUE(openAndShow());
}

TEST_F(X11Window, ErrorsOfOtherConnectionsStillReachTheirHandler) {
    ASSERT_TRUE(openAndShow());
    XMapWindow(server.connection(), server.unusedWindowId());
    server.sync();
    EXPECT_EQ(server.errors(), 1) << "the host's error went astray while a window was open";
    window.close();
    XMapWindow(server.connection(), server.unusedWindowId());
    server.sync();
    EXPECT_EQ(server.errors(), 2);
    EXPECT_TRUE(server.ownsErrorHandler()) << "the handler before ours was not put back";
    expectedServerErrors = 2;
}

TEST_F(X11Window, TwoWindowsEachHaveTheirOwnConnectionAndEvents) {
    const int secondX = parentX + 200, secondY = parentY + 300;
    const Window secondParent = server.createParent(secondX, secondY, width, height);
    MFX11Window second;
    Recorder secondEvents;
    ASSERT_TRUE(openAndShow());
    ASSERT_TRUE(openAndShow(second, secondEvents, secondParent));
    EXPECT_EQ(MFX11Window::openConnectionCount(), 2);
    auto pumpBoth = [&] {
        window.pump();
        second.pump();
    };

    clickAt(50, 40); // covered by nothing: the first window
    server.click(secondX + 600, secondY + 400);
    ASSERT_TRUE(pumpUntil(pumpBoth, [&] {
        return events.count(Event::up) == 1 && secondEvents.count(Event::up) == 1;
    }));
    EXPECT_EQ(events.all(Event::down).at(0).x, 50);
    EXPECT_EQ(secondEvents.all(Event::down).at(0).x, 600);
    EXPECT_EQ(secondEvents.all(Event::down).at(0).y, 400);

    // Pixels go to their own window.
    BackBuffer red, blue;
    std::fill(red.words.begin(), red.words.end(), 0xffff0000u);
    std::fill(blue.words.begin(), blue.words.end(), 0xff0000ffu);
    window.present(red.bytes(), red.stride, 0, 0, width, height);
    second.present(blue.bytes(), blue.stride, 0, 0, width, height);
    EXPECT_TRUE(pumpUntil(pumpBoth, [&] {
        return server.capture(window.windowId(), 8, 8) == std::vector<uint32_t>(64, 0xff0000u) &&
               server.capture(second.windowId(), 8, 8) == std::vector<uint32_t>(64, 0x0000ffu);
    }));

    // The first closes; the second goes on.
    window.close();
    EXPECT_EQ(MFX11Window::openConnectionCount(), 1);
    secondEvents.clear();
    server.click(secondX + 20, secondY + 400);
    EXPECT_TRUE(
        pumpUntil([&] { second.pump(); }, [&] { return secondEvents.count(Event::up) == 1; }));
    second.close();
    server.destroyWindow(secondParent);
}

TEST_F(X11Window, OpenCloseAndOpenAgainLeaveNothingBehind) {
    BackBuffer buffer;
    for (int round = 0; round < 8; ++round) {
        events.clear();
        ASSERT_TRUE(openAndShow()) << "round " << round;
        window.present(buffer.bytes(), buffer.stride, 0, 0, width, height);
        window.setCursor(round % 2 ? 9 : 2);
        window.pump();
        window.close();
        window.close();
        EXPECT_EQ(MFX11Window::openConnectionCount(), 0);
    }
    EXPECT_EQ(openFileCount(), filesBefore) << "a connection was left open";
    EXPECT_EQ(sharedSegmentCount(), segmentsBefore) << "a shared-memory segment stayed attached";

    // Opening while open (hosts do not always pair the calls) moves to the new parent.
    const Window other = server.createParent(parentX, parentY, width, height);
    ASSERT_TRUE(openAndShow());
    const Window firstId = window.windowId();
    ASSERT_TRUE(openAndShow(window, events, other));
    EXPECT_EQ(MFX11Window::openConnectionCount(), 1);
    Window root = 0, up = 0, *children = nullptr;
    unsigned int count = 0;
    ASSERT_TRUE(XQueryTree(server.connection(), parent, &root, &up, &children, &count));
    EXPECT_EQ(count, 0u) << "the old window 0x" << std::hex << firstId << " is still there";
    if (children)
        XFree(children);
    window.close();
    server.destroyWindow(other);
}

TEST_F(X11Window, ClosingFromInsideACallbackEndsThePump) {
    ASSERT_TRUE(openAndShow());
    server.moveTo(parentX + 100, parentY + 100);
    pumpFor([&] { window.pump(); }, 50);
    events.clear();
    events.onEvent = [&](const Event& e) {
        if (e.kind == Event::down)
            window.close();
    };
    // Press, move and release are all queued before the pump that closes.
    server.button(1, true);
    server.moveTo(parentX + 120, parentY + 110);
    server.button(1, false);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_TRUE(waitFor(Event::down));
    pumpFor([&] { window.pump(); }, 50);
    EXPECT_FALSE(window.isOpen());
    EXPECT_EQ(events.count(Event::moved) + events.count(Event::up) + events.count(Event::closed),
              0);
}

TEST_F(X11Window, AParentDestroyedUnderTheWindowClosesIt) {
    ASSERT_TRUE(openAndShow());
    BackBuffer buffer;
    server.destroyWindow(parent);
    // Drawing goes on until the pump hears of it: those requests name a window that is gone.
    window.present(buffer.bytes(), buffer.stride, 0, 0, width, height);
    window.setCursor(9);
    ASSERT_TRUE(waitFor(Event::closed));
    EXPECT_FALSE(window.isOpen());
    EXPECT_EQ(window.windowId(), 0ul);
    EXPECT_EQ(MFX11Window::openConnectionCount(), 0);
    // What an editor may still call afterwards does nothing.
    window.pump();
    window.present(buffer.bytes(), buffer.stride, 0, 0, width, height);
    window.setCursor(9);
    window.close();
    EXPECT_EQ(events.count(Event::closed), 1);
}

// A server of the test's own that it can kill while a window is open on it.
class PrivateServer {
public:
    PrivateServer() {
        int fds[2];
        if (pipe(fds) != 0)
            return;
        pid = fork();
        if (pid == 0) {
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            // -noreset: the server would restart, refusing connections for a moment, when
            // the test's probe connection closes.
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-nolisten", "tcp", "-noreset",
                   "-screen", "0", "320x240x24", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        char text[16] = {};
        std::size_t got = 0;
        while (got < sizeof text - 1) {
            const ssize_t n = read(fds[0], text + got, 1);
            if (n <= 0 || text[got] == '\n')
                break;
            ++got;
        }
        close(fds[0]);
        if (got > 0)
            name = ":" + std::string(text, got);
    }
    ~PrivateServer() { stop(); }
    bool ok() const { return !name.empty(); }
    void stop() {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }
    std::string name;

private:
    pid_t pid = -1;
};

TEST(X11WindowLostServer, AServerThatDiesClosesTheWindowAndTheProcessGoesOn) {
    PrivateServer server;
    if (!server.ok())
        GTEST_SKIP() << "cannot start Xvfb";
    const ScopedEnv privateDisplay("DISPLAY", server.name.c_str());

    // The root window as parent: the test keeps no connection that could die with it.
    Display* probe = XOpenDisplay(nullptr);
    ASSERT_NE(probe, nullptr);
    const Window root = DefaultRootWindow(probe);
    XCloseDisplay(probe);

    const int errorsBefore = MFX11Window::unexpectedErrorCount();
    const int filesBefore = openFileCount();
    const int segmentsBefore = sharedSegmentCount();
    MFX11Window window;
    Recorder events;
    ASSERT_TRUE(window.open(root, 200, 100, &events));
    EXPECT_TRUE(window.usesSharedMemory());
    window.pump();
    server.stop();
    EXPECT_TRUE(pumpUntil([&] { window.pump(); }, [&] { return events.count(Event::closed) > 0; }));
    EXPECT_FALSE(window.isOpen());
    EXPECT_EQ(MFX11Window::openConnectionCount(), 0);
    EXPECT_EQ(MFX11Window::unexpectedErrorCount(), errorsBefore);
    EXPECT_EQ(events.count(Event::closed), 1);
    EXPECT_EQ(openFileCount(), filesBefore) << "the dead connection's socket stayed open";
    EXPECT_EQ(sharedSegmentCount(), segmentsBefore);
}

} // namespace
