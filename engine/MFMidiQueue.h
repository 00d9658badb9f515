#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// One MIDI message waiting for its tick. `delay` counts samples after the message
// before it in the queue (for the head: after the last tick).
struct MFMidiMessage {
    static constexpr int32_t defaultSource = 100;

    int32_t source = defaultSource;
    int32_t count = 1;
    int32_t delay = 0;
    int32_t type = 0;
    int32_t data1 = 0;
    int32_t data2 = 0;
    uint8_t reserved[2] = {0, 0};
    int64_t reservedWide = 0;
};

// What a message means; the numbers are the ones the message records carry.
namespace MFMidiType {
constexpr int32_t noteOn = 200;
constexpr int32_t noteOff = 201;
constexpr int32_t allNotesOff = 202;
constexpr int32_t controller = 203;
constexpr int32_t pitchBend = 204;
constexpr int32_t programChange = 205;
constexpr int32_t channelPressure = 206;
} // namespace MFMidiType

// The time-sorted queue between processEvents and the block driver's ticks. Both ends
// run on the audio thread, so there is no lock. Storage is a flat array whose live part
// starts at `first`; it holds `reservedPlaces` messages without touching the heap and
// grows beyond that only if a host floods it.
class MFMidiQueue {
public:
    static constexpr int32_t reservedPlaces = 256;
    static constexpr int32_t tickLength = 64;
    // Offsets are clamped to this, far beyond any block, so delays never overflow.
    static constexpr int32_t maxOffset = 1 << 30;

    MFMidiQueue();

    // Sorts the message in by its offset in samples from the last tick (negative counts
    // as 0). Equal offsets keep their arrival order.
    void insert(const MFMidiMessage& message, int32_t offset);

    // Called once per tick: the head's delay loses one tick, then every message whose
    // time has come is removed and handed to `handle` in time order. A message taken
    // late passes its overshoot on, so the next one stays due at its own sample.
    template <typename Handler> void takeDue(Handler&& handle) {
        if (empty())
            return;
        items[first].delay -= tickLength;
        while (!empty() && items[first].delay <= 0) {
            const MFMidiMessage message = items[first];
            ++first;
            if (empty())
                clear();
            else
                items[first].delay += message.delay;
            handle(message);
        }
    }

    // The ticks move earlier by `samples`: the head's delay, counted from the tick
    // before, grows by as much, so every message still falls due at the first tick at or
    // after its own sample.
    void moveTicksEarlier(int32_t samples) {
        if (!empty())
            items[first].delay += samples;
    }

    bool empty() const { return first >= items.size(); }
    int32_t size() const { return int32_t(items.size() - first); }
    // The message at place i from the head, for inspection.
    const MFMidiMessage& at(int32_t i) const { return items[first + std::size_t(i)]; }
    void clear();

private:
    std::vector<MFMidiMessage> items;
    std::size_t first = 0;
};
