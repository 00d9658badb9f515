#include "presets/MFPresetLibrary.h"

#include "platform/MFText.h"
#include "presets/MFFileio.h"
#include "presets/MFPaths.h"

#include <cstring>

namespace {

constexpr int32_t probeBytes = 20;

unsigned char upper(unsigned char c) {
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 'a' + 'A') : c;
}

// Compares the upper-cased names as unsigned bytes: the shorter prefix sorts first.
bool lessUpper(const std::string& a, const std::string& b) {
    const std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned char x = upper(static_cast<unsigned char>(a[i]));
        const unsigned char y = upper(static_cast<unsigned char>(b[i]));
        if (x != y)
            return x < y;
    }
    return a.size() < b.size();
}

// A selection sort rather than std::sort: names equal but for case then land in the
// order this sort has always given them, so program numbers stay where users expect.
void selectionSort(std::vector<std::string>& names) {
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        std::size_t smallest = i;
        for (std::size_t j = i + 1; j < names.size(); ++j)
            if (lessUpper(names[j], names[smallest]))
                smallest = j;
        if (smallest != i)
            std::swap(names[i], names[smallest]);
    }
}

bool hasExtension(const std::string& name, const std::string& extension) {
    return name.size() > extension.size() + 1 &&
           name.compare(name.size() - extension.size(), extension.size(), extension) == 0 &&
           name[name.size() - extension.size() - 1] == '.';
}

const std::string emptyName;

} // namespace

MFPresetLibrary::MFPresetLibrary(std::string extension, int32_t minimumVersion, int32_t product)
    : fileExtension(std::move(extension)), minVersion(minimumVersion), productId(product) {}

void MFPresetLibrary::scan(const std::string& rootPath) {
    std::string path = rootPath;
    MFPaths::addTrailingSeparator(path);
    MFFileio listing;
    listing.list(path, true, false);
    for (Folder& folder : folders) {
        folder.name.clear();
        folder.presets.clear();
        folder.bytes = 0;
    }
    usedFolders = 0;
    midiFolderIndex = -1;
    root = path;
    // The directory's own order is arbitrary on Linux file systems; folder numbers are
    // saved with the host's session, so they follow the names, as the presets do.
    std::vector<std::string> names;
    names.reserve(listing.count());
    for (const MFFileio::Entry& entry : listing.entries())
        names.push_back(entry.name);
    selectionSort(names);
    for (const std::string& name : names) {
        if (usedFolders >= maxFolders)
            break;
        Folder& folder = folders[std::size_t(usedFolders)];
        scanFolder(folder, MFPaths::join(path, name));
        folder.name = name;
        if (name == midiFolderName)
            midiFolderIndex = usedFolders;
        ++usedFolders;
    }
}

void MFPresetLibrary::rescanFolder(int32_t index) {
    if (!validFolder(index))
        return;
    Folder& folder = folders[std::size_t(index)];
    scanFolder(folder, MFPaths::join(root, folder.name));
}

std::size_t MFPresetLibrary::totalBytes() const {
    std::size_t total = 0;
    for (int32_t i = 0; i < usedFolders; ++i)
        total += folders[std::size_t(i)].bytes;
    return total;
}

void MFPresetLibrary::scanFolder(Folder& folder, const std::string& path) {
    folder.presets.clear();
    folder.bytes = 0;
    MFFileio listing;
    listing.list(path, false, true);
    std::vector<std::string> names;
    names.reserve(listing.count());
    for (const MFFileio::Entry& entry : listing.entries())
        names.push_back(entry.name);
    selectionSort(names);

    const std::size_t others = totalBytes();
    for (const std::string& name : names) {
        if (folder.presets.size() >= std::size_t(maxPresets))
            break;
        if (!hasExtension(name, fileExtension))
            continue;
        const std::size_t used = others + folder.bytes;
        std::unique_ptr<MFChunk> chunk = loadPreset(
            MFPaths::join(path, name), name, used < maxTotalBytes ? maxTotalBytes - used : 0);
        if (!chunk)
            continue;
        folder.bytes += std::size_t(chunk->capacity()) * 4;
        folder.presets.push_back(std::move(chunk));
    }
}

std::unique_ptr<MFChunk> MFPresetLibrary::loadPreset(const std::string& path,
                                                     const std::string& fileName,
                                                     std::size_t budget) const {
    uint32_t probe[probeBytes / 4];
    if (!MFFileio::readFileBytes(path.c_str(), probe, sizeof probe))
        return nullptr;
    const int32_t sizeWords = int32_t(probe[0]);
    if (int32_t(probe[4]) != MFChunk::headerMagic)
        return nullptr;
    if (sizeWords <= 0 || std::size_t(sizeWords) * 4 > budget)
        return nullptr;
    std::unique_ptr<uint32_t[]> words;
    if (MFFileio::readWholeFile(path.c_str(), sizeWords, words) != MFFileio::ReadStatus::ok)
        return nullptr;

    auto chunk = std::make_unique<MFChunk>();
    chunk->attachOwned(words.release(), sizeWords);
    chunk->name = MFPaths::nameOf(fileName);
    if (!chunk->parseHeader(true))
        return nullptr;
    chunk->readInt(); // header length
    const int32_t pluginVersion = chunk->readInt();
    const int32_t format = chunk->readInt();
    const bool ours = format < 2 || chunk->readInt() == productId;
    if (chunk->overrun() || pluginVersion < minVersion || !ours)
        return nullptr;
    chunk->position = 0;
    return chunk;
}

int32_t MFPresetLibrary::folderIndex(const char* name) const {
    if (!name)
        return -1;
    for (int32_t i = 0; i < usedFolders; ++i)
        if (folders[std::size_t(i)].name == name)
            return i;
    return -1;
}

int32_t MFPresetLibrary::presetIndex(int32_t folder, const char* name) const {
    if (!validFolder(folder) || !name)
        return -1;
    const auto& presets = folders[std::size_t(folder)].presets;
    for (std::size_t i = 0; i < presets.size(); ++i)
        if (presets[i]->name == name)
            return int32_t(i);
    return -1;
}

MFChunk* MFPresetLibrary::preset(int32_t folder, int32_t index) const {
    if (!validFolder(folder))
        return nullptr;
    const auto& presets = folders[std::size_t(folder)].presets;
    if (index < 0 || std::size_t(index) >= presets.size())
        return nullptr;
    return presets[std::size_t(index)].get();
}

void MFPresetLibrary::presetName(char* out, std::size_t capacity, int32_t folder,
                                 int32_t index) const {
    if (!out || capacity == 0)
        return;
    const MFChunk* chunk = preset(folder, index);
    const std::size_t limit = capacity < nameCharacters + 1 ? capacity : nameCharacters + 1;
    mfCopyText(out, limit, chunk ? chunk->name.c_str() : "empty");
}

MFChunk* MFPresetLibrary::midiProgram(int32_t index) const {
    return midiFolderIndex < 0 ? nullptr : preset(midiFolderIndex, index);
}

int32_t MFPresetLibrary::programCount() const {
    int32_t total = 0;
    for (int32_t f = 0; f < usedFolders; ++f)
        total += presetCount(f);
    return total;
}

bool MFPresetLibrary::programAt(int32_t program, int32_t& folder, int32_t& index) const {
    if (program < 0)
        return false;
    for (int32_t f = 0; f < usedFolders; ++f) {
        const int32_t count = presetCount(f);
        if (program < count) {
            folder = f;
            index = program;
            return true;
        }
        program -= count;
    }
    return false;
}

int32_t MFPresetLibrary::programNumber(int32_t folder, int32_t index) const {
    if (!validFolder(folder) || index < 0 || index >= presetCount(folder))
        return -1;
    int32_t before = 0;
    for (int32_t f = 0; f < folder; ++f)
        before += presetCount(f);
    return before + index;
}

int32_t MFPresetLibrary::presetCount(int32_t folder) const {
    return validFolder(folder) ? int32_t(folders[std::size_t(folder)].presets.size()) : 0;
}

const std::string& MFPresetLibrary::folderName(int32_t folder) const {
    return validFolder(folder) ? folders[std::size_t(folder)].name : emptyName;
}
