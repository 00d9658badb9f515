#include "engine/MFMidiQueue.h"

MFMidiQueue::MFMidiQueue() {
    items.reserve(reservedPlaces);
}

void MFMidiQueue::clear() {
    items.clear();
    first = 0;
}

void MFMidiQueue::insert(const MFMidiMessage& message, int32_t offset) {
    // Taken places at the front are reclaimed before the array would have to grow.
    if (items.size() == items.capacity() && first > 0) {
        items.erase(items.begin(), items.begin() + std::ptrdiff_t(first));
        first = 0;
    }
    std::size_t place = first;
    int32_t remaining = offset < 0 ? 0 : (offset > maxOffset ? maxOffset : offset);
    while (place < items.size() && items[place].delay <= remaining) {
        remaining -= items[place].delay;
        ++place;
    }
    if (place < items.size())
        items[place].delay -= remaining;
    MFMidiMessage entry = message;
    entry.delay = remaining;
    items.insert(items.begin() + std::ptrdiff_t(place), entry);
}
