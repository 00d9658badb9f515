#pragma once

#include <vector>

class MFZone;

// The notification side of a zone: editor-thread listeners told after every change.
class MFZoneInformer {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void zoneChanged(MFZone& zone) = 0;
    };

    virtual ~MFZoneInformer() = default;
    virtual void addListener(Listener* listener);
    virtual void removeListener(Listener* listener);
    virtual bool hasListener(Listener* listener) const;

protected:
    void notifyListeners(MFZone& zone);

private:
    std::vector<Listener*> listeners;
};
