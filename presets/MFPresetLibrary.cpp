#include "presets/MFPresetLibrary.h"

#include "platform/MFText.h"
#include "presets/MFFileio.h"
#include "presets/MFPaths.h"

#include <cstring>
#include <set>

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
template <typename Item, typename NameOf>
void selectionSort(std::vector<Item>& items, NameOf nameOf) {
    for (std::size_t i = 0; i + 1 < items.size(); ++i) {
        std::size_t smallest = i;
        for (std::size_t j = i + 1; j < items.size(); ++j)
            if (lessUpper(nameOf(items[j]), nameOf(items[smallest])))
                smallest = j;
        if (smallest != i)
            std::swap(items[i], items[smallest]);
    }
}

struct FoundFile {
    std::string name;
    std::string path;
};

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
    scan(std::vector<std::string>{rootPath});
}

void MFPresetLibrary::scan(const std::vector<std::string>& rootPaths) {
    std::vector<std::string> scanned;
    scanned.reserve(rootPaths.size());
    for (std::string path : rootPaths) {
        MFPaths::addTrailingSeparator(path);
        scanned.push_back(std::move(path));
    }
    for (Folder& folder : folders) {
        folder.name.clear();
        folder.presets.clear();
        folder.paths.clear();
        folder.bytes = 0;
    }
    usedFolders = 0;
    midiFolderIndex = -1;
    roots = std::move(scanned);
    root = roots.empty() ? std::string() : roots.back();
    // The directory's own order is arbitrary on Linux file systems; folder numbers are
    // saved with the host's session, so they follow the names, as the presets do.
    std::vector<std::string> names;
    std::set<std::string> seen;
    for (const std::string& path : roots) {
        MFFileio listing;
        listing.list(path, true, false);
        for (const MFFileio::Entry& entry : listing.entries())
            if (seen.insert(entry.name).second)
                names.push_back(entry.name);
    }
    selectionSort(names, [](const std::string& name) -> const std::string& { return name; });
    for (const std::string& name : names) {
        if (usedFolders >= maxFolders)
            break;
        Folder& folder = folders[std::size_t(usedFolders)];
        folder.name = name;
        scanFolder(folder);
        if (name == midiFolderName)
            midiFolderIndex = usedFolders;
        ++usedFolders;
    }
}

void MFPresetLibrary::rescan() {
    const std::vector<std::string> again = roots;
    scan(again);
}

void MFPresetLibrary::rescanFolder(int32_t index) {
    if (!validFolder(index))
        return;
    scanFolder(folders[std::size_t(index)]);
}

std::size_t MFPresetLibrary::totalBytes() const {
    std::size_t total = 0;
    for (int32_t i = 0; i < usedFolders; ++i)
        total += folders[std::size_t(i)].bytes;
    return total;
}

void MFPresetLibrary::scanFolder(Folder& folder) {
    folder.presets.clear();
    folder.paths.clear();
    folder.bytes = 0;
    // Later roots win: the user's copy of a file stands in for the factory's.
    std::vector<FoundFile> files;
    for (const std::string& path : roots) {
        const std::string folderPath = MFPaths::join(path, folder.name);
        MFFileio listing;
        listing.list(folderPath, false, true);
        for (const MFFileio::Entry& entry : listing.entries()) {
            std::string filePath = MFPaths::join(folderPath, entry.name);
            bool replaced = false;
            for (FoundFile& file : files) {
                if (file.name == entry.name) {
                    file.path = std::move(filePath);
                    replaced = true;
                    break;
                }
            }
            if (!replaced)
                files.push_back({entry.name, std::move(filePath)});
        }
    }
    selectionSort(files, [](const FoundFile& file) -> const std::string& { return file.name; });

    const std::size_t others = totalBytes();
    for (const FoundFile& file : files) {
        if (folder.presets.size() >= std::size_t(maxPresets))
            break;
        if (!hasExtension(file.name, fileExtension))
            continue;
        const std::size_t used = others + folder.bytes;
        std::unique_ptr<MFChunk> chunk =
            loadPreset(file.path, file.name, used < maxTotalBytes ? maxTotalBytes - used : 0);
        if (!chunk)
            continue;
        folder.bytes += std::size_t(chunk->capacity()) * 4;
        folder.presets.push_back(std::move(chunk));
        folder.paths.push_back(file.path);
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

const std::string& MFPresetLibrary::presetPath(int32_t folder, int32_t index) const {
    if (!preset(folder, index))
        return emptyName;
    return folders[std::size_t(folder)].paths[std::size_t(index)];
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
