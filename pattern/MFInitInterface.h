#pragma once

#include <cstdint>

// What the "copy", "paste", "Chaos" and per-lane init buttons act on: lanes and tables.
// Every operation does nothing unless a class gives it a meaning.
class MFInitInterface {
public:
    MFInitInterface() = default;
    MFInitInterface(const MFInitInterface&) = default;
    MFInitInterface& operator=(const MFInitInterface&) = default;
    virtual ~MFInitInterface() = default;

    virtual void initAll() {}
    virtual void initCurrent() {}
    virtual void copy(int32_t from, int32_t to) {
        (void)from;
        (void)to;
    }
    virtual void paste() {}
    virtual void random() {}
    // Free places that tables fill with their rotations and jitter; lanes ignore them.
    virtual void rotateLeft(int32_t from, int32_t to) {
        (void)from;
        (void)to;
    }
    virtual void rotateRight(int32_t from, int32_t to) {
        (void)from;
        (void)to;
    }
    virtual void jitter() {}
    virtual void setId(int32_t newId) { id = newId; }
    // A copy that lives only in the clipboard (temporary set); null when unsupported.
    virtual MFInitInterface* clone() { return nullptr; }

    int32_t id = 0;
    int32_t reservedWord = -1;
    // The lane's parameter tag; the key of the copy clipboard.
    int32_t tag = -1;
    int32_t copyFrom = 0;
    int32_t copyTo = 0;
    bool temporary = false;
};
