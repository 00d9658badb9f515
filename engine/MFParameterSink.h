#pragma once

#include <cstdint>

// The single door through which values enter the plug-in: the host, the editor, a
// preset, a learned controller and the step tables all call it.
class MFParameterSink {
public:
    virtual ~MFParameterSink() = default;
    virtual void setParameter(int32_t tag, float value) = 0;
};
