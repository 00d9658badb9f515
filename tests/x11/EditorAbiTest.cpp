// The plug-in's editor as a Linux host drives it: a parent window on the host's own X
// connection, effEditOpen with its id, effEditIdle at about 30 Hz from the GUI thread
// while audio runs on another, input through XTest, keys through effEditKeyDown. Each
// test writes its screenshots as PNG files into the build tree.

#include "HostedEditor.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace hosted;
using namespace vst;

namespace {

constexpr int f2 = 41;

// The plug-in reports X errors of its own connection as developer diagnostics; switched
// on before the library is first loaded.
const bool diagnosticsOn = [] { return setenv("CADENZOID_DEBUG", "1", 1) == 0; }();

// Collects what the process writes to stderr, where the plug-in's diagnostics go.
class StderrCapture {
public:
    StderrCapture() {
        std::fflush(stderr);
        saved = dup(2);
        file = std::tmpfile();
        if (file)
            dup2(fileno(file), 2);
    }
    ~StderrCapture() { finish(); }
    std::string finish() {
        if (saved < 0)
            return text;
        std::fflush(stderr);
        dup2(saved, 2);
        close(saved);
        saved = -1;
        if (file) {
            std::rewind(file);
            char buffer[4096];
            std::size_t n = 0;
            while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
                text.append(buffer, n);
            std::fclose(file);
            file = nullptr;
        }
        std::fputs(text.c_str(), stderr); // still shown in the test's log
        return text;
    }

private:
    int saved = -1;
    std::FILE* file = nullptr;
    std::string text;
};

// The host's audio thread: blocks of a sine through the plug-in until stopped.
class AudioThread {
public:
    explicit AudioThread(PluginHost& h) : host(h), thread([this] { run(); }) {}
    ~AudioThread() {
        stop = true;
        thread.join();
    }
    int64_t blocks() const { return count.load(); }
    bool finite() const { return allFinite.load(); }
    float peak() const { return loudest.load(); }

private:
    void run() {
        constexpr int frames = 256;
        std::vector<float> in(frames), outL(frames), outR(frames);
        int64_t phase = 0;
        while (!stop) {
            for (float& x : in)
                x = 0.5f * float(std::sin(2.0 * M_PI * 220.0 * double(phase++) / 48000.0));
            host.process(in.data(), in.data(), outL.data(), outR.data(), frames);
            for (int i = 0; i < frames; ++i) {
                if (!std::isfinite(outL[i]) || !std::isfinite(outR[i]))
                    allFinite = false;
                loudest = std::max(loudest.load(), std::fabs(outL[i]));
            }
            ++count;
            // About the pace of a real audio thread (256 frames are 5.3 ms at 48 kHz).
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
    }

    PluginHost& host;
    std::atomic<bool> stop{false};
    std::atomic<int64_t> count{0};
    std::atomic<bool> allFinite{true};
    std::atomic<float> loudest{0.0f};
    std::thread thread;
};

// One plug-in instance with its host: the library, the parent window and the audio.
struct Session : HostedEditor {
    std::unique_ptr<AudioThread> audio;

    void start(int x, int y) {
        ASSERT_TRUE(host.load(EDITOR_PLUGIN_PATH)) << host.lastError();
        host.start(48000.0f, 512);
        ASSERT_TRUE(editor.connect());
        ASSERT_TRUE(editor.createParent(x, y, editorWidth, editorHeight));
        audio = std::make_unique<AudioThread>(host);
    }
    void stop() {
        audio.reset();
        editor.closeEditor();
    }
    // The editor's child window, viewable and of the editor's size.
    bool showsEditor() {
        const Window child = editor.editorWindow();
        XWindowAttributes a{};
        return child && XGetWindowAttributes(editor.display(), child, &a) &&
               a.map_state == IsViewable && a.width == editorWidth && a.height == editorHeight;
    }
    bool open() {
        return editor.openEditor() == 1 && idleUntil([&] { return showsEditor(); });
    }
    std::vector<float> parameters() {
        std::vector<float> values(117);
        for (int32_t i = 0; i < 117; ++i)
            values[std::size_t(i)] = host.getParameter(i);
        return values;
    }
};

// A picture that shows an editor: many colours, and most pixels not the parent's black.
void expectShowsAnEditor(const std::vector<uint32_t>& pixels) {
    ASSERT_EQ(pixels.size(), std::size_t(editorWidth) * editorHeight);
    EXPECT_GE(distinctColours(pixels), 16u) << "the window is blank";
    std::size_t black = 0;
    for (uint32_t p : pixels)
        black += p == 0 ? 1 : 0;
    EXPECT_LT(black, pixels.size() / 2) << "most of the window shows the parent's background";
}

class EditorThroughHost : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(diagnosticsOn);
        if (!std::getenv("DISPLAY"))
            GTEST_SKIP() << "no X server in DISPLAY: these tests run under xvfb-run";
        ASSERT_TRUE(keeper.ok()) << "cannot reach the X server of DISPLAY, or it has no XTest";
        hostErrorsBefore = PluginEditorHost::errorCount();
        capture = std::make_unique<StderrCapture>();
        ASSERT_NO_FATAL_FAILURE(one.start(0, 0));
        // Away from the windows, until a test moves it in.
        xtest::moveTo(one.editor.display(), editorWidth + 5, editorHeight + 5);
    }

    void TearDown() override {
        if (!capture)
            return;
        one.stop();
        const std::string diagnostics = capture->finish();
        EXPECT_EQ(diagnostics.find("X error"), std::string::npos)
            << "the plug-in counted X errors on its connection";
        EXPECT_EQ(PluginEditorHost::errorCount(), hostErrorsBefore)
            << "X errors reached the host's handler";
    }

    // Drags with the left button from the knob's middle by dy pixels, idling between moves.
    void dragKnob(Session& s, int originX, int originY, int dy) {
        Display* d = s.editor.display();
        xtest::moveTo(d, originX + knobX, originY + knobY);
        s.idleTimes(2);
        xtest::button(d, 1, true);
        s.idleTimes(1);
        const int steps = 6;
        for (int i = 1; i <= steps; ++i) {
            xtest::moveTo(d, originX + knobX, originY + knobY + dy * i / steps);
            s.idleTimes(1);
        }
        xtest::button(d, 1, false);
        s.idleTimes(3);
    }

    // Waits for the server and holds a connection to it, so that it does not restart
    // between the test's own connections.
    X11TestServer keeper;
    Session one;
    std::unique_ptr<StderrCapture> capture;
    int hostErrorsBefore = 0;
};

TEST_F(EditorThroughHost, OpensAWindowOfItsSizeThatShowsTheEditorAndClosesIt) {
    EXPECT_TRUE(one.host.effect()->flags & effFlagsHasEditor);
    int w = 0, h = 0;
    ASSERT_TRUE(one.editor.editorRect(w, h));
    EXPECT_EQ(w, editorWidth);
    EXPECT_EQ(h, editorHeight);

    const int64_t blocksBefore = one.audio->blocks();
    ASSERT_TRUE(one.open());
    one.idleTimes(5);
    expectShowsAnEditor(one.screenshot("editor-open"));

    one.editor.closeEditor();
    one.idleTimes(2);
    EXPECT_EQ(one.editor.editorWindow(), 0ul) << "the editor's window outlived effEditClose";
    EXPECT_GT(one.audio->blocks(), blocksBefore + 10) << "audio stalled while the editor ran";
    EXPECT_TRUE(one.audio->finite());
}

TEST_F(EditorThroughHost, DraggingTheGlobalWetKnobChangesTheParameter) {
    ASSERT_TRUE(one.open());
    one.idleTimes(3);
    const auto before = one.screenshot("editor-before-drag");
    const float start = one.host.getParameter(globalWet);
    const int beginEdits = one.host.beginEditCalls;
    const int endEdits = one.host.endEditCalls;

    dragKnob(one, 0, 0, 60); // downwards turns the knob down
    const float end = one.host.getParameter(globalWet);
    EXPECT_LT(end, start - 0.1f) << "60 pixels of drag moved GlobalWet from " << start << " to "
                                 << end;
    EXPECT_GT(one.host.beginEditCalls, beginEdits);
    EXPECT_GT(one.host.endEditCalls, endEdits);

    // The knob shows its new value.
    const auto after = one.screenshot("editor-after-drag");
    EXPECT_NE(knobArea(before), knobArea(after));

    // The host automates it back: the knob follows at the next idles.
    one.host.setParameter(globalWet, start);
    one.idleTimes(3);
    EXPECT_EQ(knobArea(one.screenshot("editor-automated-back")), knobArea(before));
}

TEST_F(EditorThroughHost, F2MutatesParametersFromTheHostAndFromTheWindow) {
    ASSERT_TRUE(one.open());

    auto values = one.parameters();
    EXPECT_EQ(one.editor.keyDown(0, f2, 0), 1);
    one.idleTimes(1);
    EXPECT_NE(one.parameters(), values) << "F2 through effEditKeyDown changed nothing";

    // F2 typed into the window itself: the editor must take the keyboard's focus.
    Display* d = one.editor.display();
    xtest::moveTo(d, 200, 200);
    one.idleTimes(2);
    values = one.parameters();
    xtest::key(d, XK_F2, true);
    xtest::key(d, XK_F2, false);
    EXPECT_TRUE(one.idleUntil([&] { return one.parameters() != values; }, 2000))
        << "F2 typed into the editor's window changed nothing";
}

TEST_F(EditorThroughHost, ClosesOpensAgainAndMovesToANewParent) {
    ASSERT_TRUE(one.open());
    one.editor.closeEditor();
    one.idleTimes(2);
    ASSERT_TRUE(one.open());
    one.idleTimes(3);
    expectShowsAnEditor(one.screenshot("editor-reopened"));

    // A second open without a close, into another parent: the window moves there.
    const Window firstParent = one.editor.parentWindow();
    PluginEditorHost other(one.host);
    ASSERT_TRUE(other.connect());
    ASSERT_TRUE(other.createParent(0, 0, editorWidth, editorHeight));
    ASSERT_EQ(other.openEditor(), 1);
    EXPECT_TRUE(one.idleUntil([&] {
        XWindowAttributes a{};
        const Window child = other.editorWindow();
        return child && XGetWindowAttributes(other.display(), child, &a) &&
               a.map_state == IsViewable;
    }));
    EXPECT_EQ(one.editor.editorWindow(), 0ul)
        << "the first parent 0x" << std::hex << firstParent << " kept a window";
    other.closeEditor();
}

// A host that tears its window down before closing the editor, or hands over an id that
// names no window, is left idling without an X error; a good parent then shows the editor.
TEST_F(EditorThroughHost, ADestroyedOrBadParentLeavesTheHostIdlingAndTheEditorReopens) {
    ASSERT_TRUE(one.open());
    one.editor.destroyParent();
    one.idleTimes(5);
    one.editor.closeEditor();
    one.idleTimes(1);
    EXPECT_EQ(one.editor.openEditorIn(XAllocID(one.editor.display())), 0);
    one.idleTimes(2);
    ASSERT_TRUE(one.editor.createParent(0, 0, editorWidth, editorHeight));
    EXPECT_TRUE(one.open()) << "a good parent after a destroyed and a bad one";
    EXPECT_TRUE(one.audio->finite());
}

TEST_F(EditorThroughHost, TwoInstancesEachHaveTheirWindow) {
    Display* d = one.editor.display();
    const int screenWidth = DisplayWidth(d, DefaultScreen(d));
    const int screenHeight = DisplayHeight(d, DefaultScreen(d));
    // The second stands at the screen's far corner, over the first's bottom right only.
    const int x2 = screenWidth - editorWidth;
    const int y2 = screenHeight - editorHeight;
    ASSERT_GE(y2, knobY + 1) << "the screen is too small for two editors";
    Session two;
    ASSERT_NO_FATAL_FAILURE(two.start(x2, y2));
    ASSERT_EQ(one.editor.openEditor(), 1);
    ASSERT_EQ(two.editor.openEditor(), 1);
    auto both = [&] { return one.showsEditor() && two.showsEditor(); };
    ASSERT_TRUE(one.idleUntil([&] {
        two.editor.idle();
        return both();
    }));
    two.idleTimes(3);
    one.idleTimes(3);
    expectShowsAnEditor(one.screenshot("editor-first-of-two"));
    expectShowsAnEditor(two.screenshot("editor-second-of-two"));

    const float oneBefore = one.host.getParameter(globalWet);
    const float twoBefore = two.host.getParameter(globalWet);
    dragKnob(two, x2, y2, 60);
    one.idleTimes(2);
    EXPECT_LT(two.host.getParameter(globalWet), twoBefore - 0.1f);
    EXPECT_EQ(one.host.getParameter(globalWet), oneBefore) << "the drag reached the other instance";

    // The first closes; the second goes on drawing and taking input.
    one.editor.closeEditor();
    one.idleTimes(1);
    const float twoMiddle = two.host.getParameter(globalWet);
    dragKnob(two, x2, y2, -30);
    EXPECT_GT(two.host.getParameter(globalWet), twoMiddle + 0.05f);
    expectShowsAnEditor(two.screenshot("editor-second-after-first-closed"));
    two.stop();
}

} // namespace
