#include "pattern/MFZoneInformer.h"

#include <algorithm>

void MFZoneInformer::addListener(Listener* listener) {
    if (listener && !hasListener(listener))
        listeners.push_back(listener);
}

void MFZoneInformer::removeListener(Listener* listener) {
    listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
}

bool MFZoneInformer::hasListener(Listener* listener) const {
    return std::find(listeners.begin(), listeners.end(), listener) != listeners.end();
}

void MFZoneInformer::notifyListeners(MFZone& zone) {
    for (Listener* listener : listeners)
        listener->zoneChanged(zone);
}
