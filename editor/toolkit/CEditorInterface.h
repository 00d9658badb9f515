#pragma once

#include <cstdint>

// The editor as the toolkit's controls reach it: the start and end of a gesture on the
// parameter of a tag, which the editor passes to the host where the tag is the host's.
class CEditorInterface {
public:
    virtual ~CEditorInterface() = default;
    virtual void beginEdit(int32_t tag) = 0;
    virtual void endEdit(int32_t tag) = 0;
};
