#include "presets/MFPresetManager.h"

#include "pattern/MFChunk.h"
#include "platform/MFMessageService.h"
#include "presets/MFFileio.h"
#include "presets/MFPaths.h"
#include "presets/MFPresetHost.h"
#include "presets/MFPresetLibrary.h"
#include "presets/MFSettingsStore.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

// Holds the host's state lock for a flow's work on the state and the library.
class StateGuard {
public:
    explicit StateGuard(MFPresetHost& presetHost) : host(presetHost) { host.lockState(); }
    ~StateGuard() { host.unlockState(); }
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;

private:
    MFPresetHost& host;
};

constexpr std::size_t probeBytes = 20;
// A dialog may hand this back for "nothing"; it is never a file.
constexpr const char* emptyChoice = "EMPTY";

std::string numberedKey(const char* format, int32_t number) {
    char key[64];
    std::snprintf(key, sizeof key, format, int(number));
    return key;
}

bool endsWithExtension(const std::string& path, const std::string& extension) {
    const std::string tail = "." + extension;
    return path.size() > tail.size() &&
           path.compare(path.size() - tail.size(), tail.size(), tail) == 0;
}

} // namespace

MFPresetManager::MFPresetManager(MFPresetHost& presetHost, MFPresetLibrary& presetLibrary,
                                 MFSettingsStore& store, std::string product,
                                 MFFileDialog& fileDialog,
                                 std::vector<MFPresetCategory> categoryList)
    : host(presetHost), library(presetLibrary), settings(store),
      settingsProduct(std::move(product)), dialog(&fileDialog),
      categories(std::move(categoryList)) {}

std::string MFPresetManager::readSetting(const char* key) {
    std::string value;
    if (settings.open(settingsProduct.c_str()))
        settings.getString(key, value);
    settings.close();
    return value;
}

void MFPresetManager::writeSetting(const char* key, const std::string& value) {
    if (settings.open(settingsProduct.c_str()))
        settings.setString(key, value.c_str());
    settings.close();
}

bool MFPresetManager::validCategory(int32_t category) {
    return category >= 0 && category < MFPresetCategory::count;
}

bool MFPresetManager::loadPreset(const char* path, int32_t category, const char* extension) {
    // The host keeps one name per category; anything else would index past its list.
    if (!validCategory(category))
        return false;
    std::string chosen;
    if (!path) {
        std::string folder = readSetting(numberedKey("presetpath%d", category).c_str());
        // Until the user has presets of their own, the factory's are what there is to open.
        if (!MFFileio::isFolder(folder) && !factoryFolder(category).empty())
            folder = factoryFolder(category);
        MFPaths::addTrailingSeparator(folder);
        const std::vector<MFFileDialog::FileType> types{
            {"Preset file", extension ? extension : MFPresetCategory::wholeStateExtension}};
        const MFFileDialog::Result result =
            dialog->run(MFFileDialog::Mode::open, "Choose a file to load", folder, types, chosen);
        if (result == MFFileDialog::Result::unavailable)
            MFMessageService::showNotice(noDialogNotice);
        if (result != MFFileDialog::Result::chosen)
            return false;
        path = chosen.c_str();
    }
    if (std::strcmp(path, emptyChoice) == 0)
        return false;

    const StateGuard guard(host);
    uint32_t probe[probeBytes / 4];
    if (!MFFileio::readFileBytes(path, probe, sizeof probe))
        return false;
    MFChunk header;
    header.attachCopy(probe, sizeof probe);
    if (!header.parseHeader(false))
        return false;
    if (header.writerVersion > MFChunk::currentWriterVersion) {
        MFMessageService::showMessage("preset was written with a newer version of %s", productName);
        return false;
    }

    std::unique_ptr<uint32_t[]> words;
    const MFFileio::ReadStatus status = MFFileio::readWholeFile(path, header.sizeWords, words);
    if (status == MFFileio::ReadStatus::unreadable)
        return false;
    if (status != MFFileio::ReadStatus::ok) {
        // The header promised a size the file does not have: damaged, not just unreadable.
        MFMessageService::showMessage("\t This is no valid %s format!", productName);
        return false;
    }
    MFChunk chunk;
    chunk.attachOwned(words.release(), header.sizeWords);
    chunk.position = 0;
    host.readState(chunk, category, false, false, false);

    const std::string name = MFPaths::nameOf(path);
    host.presetName(category) = name;
    if (category == 0) {
        const std::string folderName = MFPaths::parentFolderName(path);
        const int32_t folder = library.folderIndex(folderName.c_str());
        if (folder >= 0) {
            host.setFolderIndex(folder);
            const int32_t program =
                library.programNumber(folder, library.presetIndex(folder, name.c_str()));
            if (program >= 0)
                host.setCurrentProgram(program);
        }
    }
    host.refreshHostDisplay();
    return true;
}

bool MFPresetManager::savePreset(const char* name, int32_t category, const char* extension) {
    if (!validCategory(category))
        return false;
    const std::string fileExtension = extension ? extension : MFPresetCategory::wholeStateExtension;
    const MFPresetCategory* record = MFPresetCategory::findByNumber(categories, category);
    const std::string description =
        record ? record->fileTypeName : std::string(productName) + " Preset";
    const std::string key = numberedKey("presetsavepath%d", category);

    std::string path;
    if (name) {
        path = name;
    } else {
        std::string folder = saveFolder(category, key);
        MFPaths::addTrailingSeparator(folder);
        const std::vector<MFFileDialog::FileType> types{{description, fileExtension}};
        const MFFileDialog::Result result =
            dialog->run(MFFileDialog::Mode::save, "Save File", folder, types, path);
        if (result == MFFileDialog::Result::unavailable)
            MFMessageService::showNotice(noDialogNotice);
        if (result != MFFileDialog::Result::chosen || path == emptyChoice || path.size() < 2)
            return false;
        if (!endsWithExtension(path, fileExtension))
            path += "." + fileExtension;
        writeSetting(key.c_str(), MFPaths::folderOf(path));
    }
    if (path == emptyChoice)
        return false;

    // The user's content root is made by the first save; other missing folders fail.
    const std::string target = MFPaths::folderOf(path);
    if (!target.empty() && !MFFileio::isFolder(target) && isOwnSaveFolder(category, target))
        MFFileio::makeFolders(target);

    const StateGuard guard(host);
    MFChunk chunk;
    chunk.beginMeasure(host.currentTempo(), host.currentSampleRate());
    host.writeState(chunk, category);
    const int32_t measured = chunk.position;
    chunk.allocateMeasured();
    host.writeState(chunk, category);
    // A writer whose passes disagree would leave a file that cannot be read back.
    const bool consistent = measured > 0 && chunk.position == measured && !chunk.overrun();
    const bool written = consistent && MFFileio::writeFileBytes(path.c_str(), chunk.data,
                                                                std::size_t(chunk.capacity()) * 4);
    if (!written)
        MFMessageService::showMessage("saving preset to %s failed", path.c_str());

    if (category == 0) {
        const std::string folderName = MFPaths::parentFolderName(path);
        int32_t folder = library.folderIndex(folderName.c_str());
        if (folder >= 0) {
            host.setFolderIndex(folder);
            library.rescanFolder(folder);
        } else if (library.rootPaths().size() > 1) {
            // Factory and user roots together, and the settings name only the user's.
            library.rescan();
            folder = library.folderIndex(folderName.c_str());
            host.setFolderIndex(folder >= 0 ? folder : 0);
        } else {
            // A folder new to the library: rebuild it from the preset root.
            std::string root = readSetting("presetpath");
            if (root.empty())
                root = readSetting("presetpath0");
            // Without any stored root, rescanning "" would empty the library.
            if (root.empty())
                root = library.rootPath();
            library.scan(root);
            folder = library.folderIndex(folderName.c_str());
            host.setFolderIndex(folder >= 0 ? folder : 0);
        }
        // A preset saved into the library is the host's program from now on.
        const int32_t program = library.programNumber(
            folder, library.presetIndex(folder, MFPaths::nameOf(path).c_str()));
        if (written && program >= 0)
            host.setCurrentProgram(program);
    }
    host.presetName(category) = MFPaths::nameOf(path);
    host.refreshHostDisplay();
    return written;
}

void MFPresetManager::nextPreset(int32_t category) {
    stepPreset(category, 1);
}

void MFPresetManager::previousPreset(int32_t category) {
    stepPreset(category, -1);
}

void MFPresetManager::stepPreset(int32_t category, int32_t direction) {
    if (!validCategory(category))
        return;
    // Whole states step through the host's programs, so that both show one order.
    if (category == 0) {
        host.stepPrograms(direction);
        return;
    }
    std::string folder = readSetting(numberedKey("presetpath%d", category).c_str());
    MFPaths::addTrailingSeparator(folder);
    // Factory files first, then the user's, whose file of a factory name replaces it.
    std::vector<std::string> paths;
    std::vector<std::string> names;
    std::vector<std::string> sources;
    const std::string factory = factoryFolder(category);
    if (!factory.empty() && factory != folder)
        sources.push_back(factory);
    sources.push_back(folder);
    for (const std::string& source : sources) {
        MFFileio listing;
        listing.list(source, false, true);
        for (const MFFileio::Entry& entry : listing.entries()) {
            std::string path = MFPaths::join(source, entry.name);
            std::size_t i = 0;
            while (i < names.size() && names[i] != entry.name)
                ++i;
            if (i < names.size()) {
                paths[i] = std::move(path);
            } else {
                names.push_back(entry.name);
                paths.push_back(std::move(path));
            }
        }
    }
    const int32_t count = int32_t(paths.size());
    if (count == 0)
        return;
    const std::string& current = host.presetName(category);
    int32_t index = count;
    for (int32_t i = 0; i < count; ++i) {
        if (MFPaths::nameOf(names[std::size_t(i)]) == current) {
            index = i;
            break;
        }
    }
    index += direction;
    if (index >= count)
        index = 0;
    else if (index < 0)
        index = count - 1;
    loadPreset(paths[std::size_t(index)].c_str(), category);
}

void MFPresetManager::setFactoryRoot(const std::string& root) {
    factoryRoot = root;
    MFPaths::addTrailingSeparator(factoryRoot);
}

std::string MFPresetManager::factoryFolder(int32_t category) const {
    const MFPresetCategory* record = MFPresetCategory::findByNumber(categories, category);
    if (factoryRoot.empty() || !record)
        return {};
    return MFPaths::join(factoryRoot, record->name) + "/";
}

bool MFPresetManager::isOwnSaveFolder(int32_t category, const std::string& folder) {
    std::string load = readSetting(numberedKey("presetpath%d", category).c_str());
    std::string save = readSetting(numberedKey("presetsavepath%d", category).c_str());
    MFPaths::addTrailingSeparator(load);
    MFPaths::addTrailingSeparator(save);
    const bool inFactory = !factoryRoot.empty() && folder.rfind(factoryRoot, 0) == 0;
    return !inFactory && !load.empty() &&
           (folder == load || folder == save || folder == MFPaths::join(load, "User") + "/");
}

std::string MFPresetManager::saveFolder(int32_t category, const std::string& key) {
    std::string folder = readSetting(key.c_str());
    const bool inFactory = !factoryRoot.empty() && folder.rfind(factoryRoot, 0) == 0;
    if (folder.empty() || inFactory) {
        folder = readSetting(numberedKey("presetpath%d", category).c_str());
        const MFPresetCategory* record = MFPresetCategory::findByNumber(categories, category);
        if (inFactory && record && record->userFolder)
            folder = MFPaths::join(folder, "User");
    }
    MFPaths::addTrailingSeparator(folder);
    if (!folder.empty() && isOwnSaveFolder(category, folder))
        MFFileio::makeFolders(folder);
    return folder;
}
