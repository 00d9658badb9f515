// The lanes while the sequence plays, through the engine and the editor together: the zone
// the audio side plays lights up at the tick its step begins and shows at the next idle,
// and the playhead draws over the lanes where the position is.

#include "EditorTestSupport.h"
#include "SkinPixels.h"
#include "pattern/PatternTestSupport.h"

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFDisplay.h"
#include "editor/controls/MFFrame.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

using namespace editortest;

namespace {

constexpr float rate = 48000.0f;
constexpr int64_t samplesPerStep = 6000; // sixteenths at 120 bpm, 48 kHz
constexpr int32_t tickLength = 64;
constexpr float sixteenths = 0.15f; // "Tempo" raw value for four steps per beat

// The Loop lane's row and sprite, the frame's background and the playhead's bitmap.
constexpr int laneLeft = 184;
constexpr int loopLaneTop = 110;
constexpr int loopSprite = 1177;
constexpr int background = 1000;
constexpr int playheadBitmap = 1088;
constexpr int playheadLeft = 185;
constexpr int stepPixels = 18;
constexpr int laneHeight = 17;
constexpr int spriteAlpha = 180;
// Rows of the lanes from the pattern strip down, for the playhead test.
constexpr int stripTop = 73;
constexpr int firstLaneTop = 92;
constexpr int lanePitch = 18;

// Marks seen after each tick's work.
struct TickMarks {
    int64_t sample;
    int32_t loopMark;
    int32_t stripMark;
};

class MarkWatchingClient : public MFUniClient {
public:
    explicit MarkWatchingClient(vst::HostCallback host)
        : MFUniClient(host, &MFUniClientEditor::create) {}
    void runTick(int32_t i) override {
        MFUniClient::runTick(i);
        ticks.push_back({blockStart + i, getLane(mflane::loop).zones.markedPattern.load(),
                         getMasterLane().markedPattern.load()});
    }
    int64_t blockStart = 0;
    std::vector<TickMarks> ticks;
};

struct PlayingRig {
    PlayingRig() {
        client = new MarkWatchingClient(FakeHost::callback());
        host.attach(client);
        client->setSampleRate(rate);
        client->resume();
        host.setPlaying(0.0, 120.0);
        client->setParameter(499, sixteenths);
        client->setParameter(501, 0.0f); // position by the host's song position
        client->setParameter(116, 0.0f); // no swing: the step is the song's
    }

    MFUniClientEditor& editor() { return *static_cast<MFUniClientEditor*>(client->getEditor()); }

    void paint(int32_t lane, int32_t first, int32_t last) {
        ::paint(client->getLane(lane).zones, first, last);
    }

    // Runs n frames of a quiet signal in blocks of one tick.
    void run(int64_t frames) {
        std::vector<float> l(tickLength, 0.1f), r(tickLength, 0.1f), ol(tickLength),
            orr(tickLength);
        float* in[2] = {l.data(), r.data()};
        float* out[2] = {ol.data(), orr.data()};
        for (int64_t done = 0; done < frames; done += tickLength) {
            client->processReplacing(in, out, tickLength);
            client->blockStart += tickLength;
            host.advance(tickLength, rate);
        }
    }

    uint32_t pixel(int x, int y) { return pixelAt(editor().getFrame()->getBackBuffer(), x, y); }

    FakeHost host;
    MarkWatchingClient* client;
};

// A sprite pixel blended over the background at the lanes' strength, as the lane draws it:
// what a pixel of the window must read to show that cell.
uint32_t blended(uint32_t over, uint32_t under, int alpha) {
    auto channel = [&](int shift) {
        const int s = int((over >> shift) & 0xff);
        const int d = int((under >> shift) & 0xff);
        return uint32_t((s * alpha + d * (255 - alpha) + 127) / 255) << shift;
    };
    return 0xff000000u | channel(16) | channel(8) | channel(0);
}

// The largest difference of two colours in one channel.
int distance(uint32_t a, uint32_t b) {
    using namespace SkinPixels;
    return std::max(
        {std::abs(red(a) - red(b)), std::abs(green(a) - green(b)), std::abs(blue(a) - blue(b))});
}

// Within two steps of 255 in every channel: blends may round either way.
bool close(uint32_t a, uint32_t b) {
    return distance(a, b) <= 2;
}

// What the Loop lane's step shows at a point inside it, for a sprite cell; dx, dy inside
// the step.
uint32_t expectedCell(MFUniClientEditor& editor, int step, int cell, int dx, int dy) {
    CBitmap* sprite = editor.getBitmap(loopSprite);
    CBitmap* back = editor.getBitmap(background);
    const uint32_t over = SkinPixels::at(*sprite, dx, cell * laneHeight + dy);
    const uint32_t under =
        SkinPixels::at(*back, laneLeft + step * stepPixels + dx, loopLaneTop + dy);
    return blended(over, under, spriteAlpha);
}

} // namespace

// Two touching zones on the Loop lane, 4 to 7 and 8 to 9. The lane marks the zone whose step
// the tick reads, at the first tick of that step (sample 6000 * step), and no zone outside
// them; the pattern strip marks its loop range while the sequence runs. A bypassed lane,
// a stopped transport and a suspended plug-in light nothing.
TEST(PlayingLanes, TheMarkFollowsThePositionTickByTick) {
    PlayingRig rig;
    rig.paint(mflane::loop, 4, 7);
    rig.paint(mflane::loop, 8, 9);
    rig.paint(mflane::delay, 0, 31);
    rig.run(12 * samplesPerStep);

    const std::vector<TickMarks>& ticks = rig.client->ticks;
    ASSERT_EQ(int64_t(ticks.size()), 12 * samplesPerStep / tickLength);
    for (const TickMarks& t : ticks) {
        const int64_t step = t.sample / samplesPerStep;
        const int32_t expected = step >= 4 && step <= 7 ? 0 : step >= 8 && step <= 9 ? 1 : -1;
        ASSERT_EQ(t.loopMark, expected) << "at sample " << t.sample;
        ASSERT_EQ(t.stripMark, 0) << "at sample " << t.sample;
    }

    // A bypassed lane is not heard, so its zone is not lit, while the others are.
    rig.client->setParameter(mflane::tags[mflane::delay].bypass, 0.0f);
    rig.run(tickLength);
    EXPECT_EQ(rig.client->getLane(mflane::delay).zones.markedPattern.load(), -1);
    EXPECT_EQ(rig.client->getLane(mflane::loop).zones.markedPattern.load(), -1); // step 12
    rig.client->setParameter(mflane::tags[mflane::delay].bypass, 0.5f);
    rig.run(tickLength);
    EXPECT_EQ(rig.client->getLane(mflane::delay).zones.markedPattern.load(), 0);

    // Stopped, or suspended by the host: nothing sounds, nothing stays lit.
    rig.client->suspend();
    EXPECT_EQ(rig.client->getLane(mflane::delay).zones.markedPattern.load(), -1);
    EXPECT_EQ(rig.client->getMasterLane().markedPattern.load(), -1);
    rig.client->resume();
    rig.run(tickLength);
    ASSERT_EQ(rig.client->getLane(mflane::delay).zones.markedPattern.load(), 0);
    rig.host.time.flags &= ~vst::kVstTransportPlaying;
    rig.run(2 * tickLength);
    EXPECT_EQ(rig.client->getLane(mflane::delay).zones.markedPattern.load(), -1);
    EXPECT_EQ(rig.client->getMasterLane().markedPattern.load(), -1);
}

// The window: the idle after the mark moved redraws the lane, and its pixels show the lit
// cells on the zone that sounds and the plain cells on the other. Pixels are read away from
// the playhead's column.
TEST(PlayingLanes, TheLaneShowsTheLitZoneAtTheNextIdle) {
    PlayingRig rig;
    rig.paint(mflane::loop, 4, 7);
    rig.paint(mflane::loop, 8, 9);
    ASSERT_TRUE(rig.editor().openHeadless());
    rig.editor().idle();

    constexpr int dx = 9, dy = 8; // the middle of a step, on the zone's body
    constexpr int middleCell = 2, rightEnd = 3, litGroup = 4;
    auto at = [&](int step) {
        return rig.pixel(laneLeft + step * stepPixels + dx, loopLaneTop + dy);
    };
    const uint32_t plainMiddle = expectedCell(rig.editor(), 6, middleCell, dx, dy);
    const uint32_t litMiddle = expectedCell(rig.editor(), 6, litGroup + middleCell, dx, dy);
    const uint32_t plainEnd = expectedCell(rig.editor(), 9, rightEnd, dx, dy);
    const uint32_t litEnd = expectedCell(rig.editor(), 9, litGroup + rightEnd, dx, dy);
    // The two looks must be far apart for the test to tell them.
    ASSERT_GT(distance(plainMiddle, litMiddle), 20);
    ASSERT_GT(distance(plainEnd, litEnd), 20);

    // Before playing: nothing lit.
    EXPECT_TRUE(close(at(6), plainMiddle)) << std::hex << at(6);
    EXPECT_TRUE(close(at(9), plainEnd)) << std::hex << at(9);

    // Into step 4 by one tick: the first zone sounds. Nothing shows until the idle.
    rig.run(4 * samplesPerStep + tickLength);
    ASSERT_EQ(rig.client->getLane(mflane::loop).zones.markedPattern.load(), 0);
    EXPECT_TRUE(close(at(6), plainMiddle));
    rig.editor().idle();
    EXPECT_TRUE(close(at(6), litMiddle)) << std::hex << at(6);
    EXPECT_TRUE(close(at(9), plainEnd)) << std::hex << at(9);

    // Into step 8: the second zone sounds, the first goes back to its plain look.
    rig.run(4 * samplesPerStep);
    rig.editor().idle();
    EXPECT_TRUE(close(at(6), plainMiddle)) << std::hex << at(6);
    EXPECT_TRUE(close(at(9), litEnd)) << std::hex << at(9);

    // Past the zones: both plain again.
    rig.run(2 * samplesPerStep);
    rig.editor().idle();
    EXPECT_TRUE(close(at(6), plainMiddle)) << std::hex << at(6);
    EXPECT_TRUE(close(at(9), plainEnd)) << std::hex << at(9);
}

// The playhead is drawn over every lane, even on a zone: at the position's pixel, on each
// row from the pattern strip down, the window shows the playhead's own line. A step later it
// has moved by a step's width, and the lanes where it stood show their zones again.
TEST(PlayingLanes, ThePlayheadDrawsOverTheLanes) {
    PlayingRig rig;
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        rig.paint(lane, 0, 31);
    ASSERT_TRUE(rig.editor().openHeadless());
    CBitmap* line = rig.editor().getBitmap(playheadBitmap);
    ASSERT_NE(line, nullptr);
    // The playhead's left column is one colour from top to bottom, below its flag.
    constexpr int belowFlag = 8;
    const uint32_t lineColour = SkinPixels::at(*line, 0, belowFlag);

    std::vector<int> rows = {stripTop + 10};
    for (int lane = 0; lane < mflane::count; ++lane)
        rows.push_back(firstLaneTop + lane * lanePitch + 8);

    // Six and a half steps into the song: the sequencer plays step 6, and the line stands at
    // 18 pixels a step to the right of its place at step 0.
    rig.run(6 * samplesPerStep + samplesPerStep / 2);
    rig.editor().idle();
    const int x = playheadLeft + 6 * stepPixels;
    for (int y : rows)
        EXPECT_EQ(rig.pixel(x, y), lineColour) << "row at y " << y;

    // Step 7: a step's width further; where it stood, the lanes show their zones.
    rig.run(samplesPerStep);
    rig.editor().idle();
    for (int y : rows) {
        EXPECT_EQ(rig.pixel(x + stepPixels, y), lineColour) << "row at y " << y;
        EXPECT_NE(rig.pixel(x, y), lineColour) << "row at y " << y;
    }
    // On the Loop lane that is the lit zone's middle cell again, as the rest of the step.
    const int dx = x - (laneLeft + 6 * stepPixels);
    constexpr int middleCell = 2, litGroup = 4, dy = 8;
    const uint32_t lit = expectedCell(rig.editor(), 6, litGroup + middleCell, dx, dy);
    EXPECT_TRUE(close(rig.pixel(x, loopLaneTop + dy), lit))
        << std::hex << rig.pixel(x, loopLaneTop + dy) << " " << lit;
}

// The pictures without a parameter of their own show the plug-in's state at the next idle:
// the key strip and the name the pattern playing, the status picture how the sequencer runs.
TEST(StatePictures, FollowThePatternAndTheSequencersState) {
    PlayingRig rig;
    ASSERT_TRUE(rig.editor().openHeadless());
    auto row = [&](int32_t tag) {
        auto* picture = dynamic_cast<MFDisplay*>(rig.editor().findControl(tag));
        return picture ? picture->frameRow() : -1;
    };
    constexpr int32_t status = 517, keys = 523, name = 524;
    rig.editor().idle();
    EXPECT_EQ(row(keys), 0);
    EXPECT_EQ(row(name), 0);
    EXPECT_EQ(row(status), 0); // following the host

    rig.client->setParameter(0, 7.5f / 12.0f); // a click on the eighth key, G
    ASSERT_EQ(rig.client->getPattern(), 7);
    EXPECT_EQ(row(keys), 0) << "nothing moves before the idle";
    rig.editor().idle();
    EXPECT_EQ(row(keys), 7);
    EXPECT_EQ(row(name), 7);

    rig.client->setParameter(501, 1.0f); // the position from MIDI notes, none held
    rig.editor().idle();
    EXPECT_EQ(row(status), 1);
    rig.client->getMidiInput().learnTag = 44; // learn armed for a knob
    rig.editor().idle();
    EXPECT_EQ(row(status), 2);
    rig.client->setParameter(503, 0.0f); // the sequencer bypassed
    rig.editor().idle();
    EXPECT_EQ(row(status), 4);
}
