// Hostile preset trees: the input is a list of files, each placed in one of a few
// folders (the MIDI program folder among them), created on disk and scanned. Every name
// and every chunk the library then offers must be readable within its bounds.
//
// Record layout, repeated until the input ends:
//   byte 0     folder: 0 "Midi Programs", 1 "Grooves", 2 "Breaks", 3 "Grooves/Deep",
//              4 the root itself
//   byte 1     name length in the low 6 bits; bit 7 appends ".cdz", bit 6 ".txt"
//   name       bytes, mapped onto a safe file-name alphabet
//   2 bytes    little-endian content length, then the content (cut at the input's end)
#include "FuzzPlugin.h"
#include "presets/MFPresetLibrary.h"

#include <fstream>

namespace {

constexpr const char* folderNames[] = {"Midi Programs", "Grooves", "Breaks", "Grooves/Deep", ""};
constexpr int32_t folderChoices = 5;
constexpr int32_t maxRecords = 64;

std::string safeName(const uint8_t* bytes, size_t length) {
    static constexpr char alphabet[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 ._-";
    std::string name;
    for (size_t i = 0; i < length; ++i)
        name += alphabet[bytes[i] % (sizeof alphabet - 1)];
    // "", "." and ".." would name the folder itself or its parent.
    if (name.empty() || name == "." || name == "..")
        name = "x" + name;
    return name;
}

void buildTree(const std::filesystem::path& root, const uint8_t* data, size_t size) {
    for (const char* folder : folderNames)
        std::filesystem::create_directories(root / folder);
    size_t at = 0;
    for (int32_t record = 0; record < maxRecords && at + 2 <= size; ++record) {
        const int32_t folder = data[at] % folderChoices;
        const uint8_t nameByte = data[at + 1];
        at += 2;
        const size_t nameLength = std::min<size_t>(nameByte & 0x3F, size - at);
        std::string name = safeName(data + at, nameLength);
        at += nameLength;
        if (nameByte & 0x80)
            name += ".cdz";
        else if (nameByte & 0x40)
            name += ".txt";
        size_t length = 0;
        if (at + 2 <= size) {
            length = size_t(data[at]) | (size_t(data[at + 1]) << 8);
            at += 2;
        }
        length = std::min(length, size - at);
        std::ofstream out(root / folderNames[folder] / name, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data + at), std::streamsize(length));
        at += length;
    }
}

// Reads every word of the chunk through its own reader and checks it stays inside.
void readAll(MFChunk& chunk) {
    chunk.position = 0;
    chunk.clearOverrun();
    volatile uint32_t sum = 0;
    for (int32_t i = 0; i < chunk.capacity(); ++i)
        sum = sum + uint32_t(chunk.readInt());
    if (chunk.overrun() || chunk.remainingWords() != 0)
        std::abort();
    chunk.position = 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::filesystem::path root = fuzzHome().scratch() / "Library";
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
    buildTree(root, data, size);

    static MFPresetLibrary library;
    library.scan(root.string());
    if (library.folderCount() < 0 || library.folderCount() > MFPresetLibrary::maxFolders)
        std::abort();
    for (int32_t f = -1; f <= library.folderCount(); ++f) {
        const int32_t count = library.presetCount(f);
        if (count < 0 || count > MFPresetLibrary::maxPresets)
            std::abort();
        for (int32_t p = -1; p <= count; ++p) {
            char name[MFPresetLibrary::nameCharacters + 1];
            std::memset(name, 0x55, sizeof name);
            library.presetName(name, sizeof name, f, p);
            if (std::memchr(name, 0, sizeof name) == nullptr)
                std::abort();
            char shortName[5];
            library.presetName(shortName, sizeof shortName, f, p);
            if (std::memchr(shortName, 0, sizeof shortName) == nullptr)
                std::abort();
            MFChunk* chunk = library.preset(f, p);
            if ((chunk != nullptr) != (p >= 0 && p < count && f >= 0 && f < library.folderCount()))
                std::abort();
            if (chunk)
                readAll(*chunk);
        }
        if (f >= 0 && f < library.folderCount() &&
            library.folderIndex(library.folderName(f).c_str()) < 0)
            std::abort();
    }
    for (int32_t program = -1; program <= MFPresetLibrary::maxPresets; ++program)
        if (MFChunk* chunk = library.midiProgram(program))
            readAll(*chunk);
    // The host's programs: the same presets as one list, each place found both ways.
    const int32_t programs = library.programCount();
    for (int32_t program = -1; program <= programs; ++program) {
        int32_t folder = -1, index = -1;
        const bool found = library.programAt(program, folder, index);
        if (found != (program >= 0 && program < programs))
            std::abort();
        if (found &&
            (!library.preset(folder, index) || library.programNumber(folder, index) != program))
            std::abort();
    }
    library.rescanFolder(library.midiFolder());
    std::filesystem::remove_all(root, ignored);
    return 0;
}
