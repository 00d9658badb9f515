#pragma once

#include "engine/MFParameterSink.h"

#include <cstdint>

// What the MIDI input needs from the plug-in around it: the parameter door for learned
// controllers, the note state for the transport and pattern selection, the preset seam
// for program changes, and the structure handshake for changing the learn lists.
class MFMidiClient : public virtual MFParameterSink {
public:
    // Audio thread, after every note on, note off and all-notes-off. noteHeld is 1.0
    // while a note sounds, else 0.0; midiKey is the pitch class 0..11 of the last note.
    virtual void noteStateChanged(float noteHeld, int32_t midiKey) = 0;
    // Audio thread, inside the block: the client may only hand the number on; it must not
    // load, allocate or wait here.
    virtual void programChange(int32_t number) = 0;
    // Main thread: keeps the audio thread out of the block, trying at most waitLimit
    // times 1 ms. False when the wait ran out; the caller then changes nothing and does
    // not call endStructureChange.
    virtual bool beginStructureChange(int32_t waitLimit) = 0;
    virtual void endStructureChange() = 0;
};
