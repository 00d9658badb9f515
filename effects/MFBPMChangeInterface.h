#pragma once

// Told of a change of tempo, on the audio thread, after the context holds the new tempo.
class MFBPMChangeInterface {
public:
    virtual ~MFBPMChangeInterface() = default;
    virtual void bpmChanged() = 0;
};
