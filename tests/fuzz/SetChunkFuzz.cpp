// Hostile host chunks: whatever setChunk receives, the plug-in must still write its state
// and produce audio.
#include "FuzzPlugin.h"
#include "pattern/MFChunk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFUniClient& plugin = fuzzPlugin();
    // A host hands over its own buffer; never more than it says.
    std::unique_ptr<uint8_t[]> bytes(new uint8_t[size ? size : 1]);
    if (size)
        std::memcpy(bytes.get(), data, size);
    plugin.setChunk(bytes.get(), int32_t(size), false);
    plugin.setChunk(bytes.get(), int32_t(size), true);

    void* written = nullptr;
    const int32_t byteSize = plugin.getChunk(&written, false);
    if (!written || byteSize < MFChunk::headerWords * 4 || byteSize % 4 != 0)
        std::abort();
    MFChunk check;
    check.attachCopy(written, std::size_t(byteSize));
    if (!check.parseHeader(true) || check.sizeWords * 4 != byteSize)
        std::abort();

    fuzzCheckAudio(plugin);
    return 0;
}
