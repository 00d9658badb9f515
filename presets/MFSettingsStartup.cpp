#include "presets/MFSettingsStartup.h"

#include "presets/MFPaths.h"
#include "presets/MFSettingsStore.h"

#include <cstdio>

namespace {

std::string numberedKey(const char* format, int32_t number) {
    char key[64];
    std::snprintf(key, sizeof key, format, int(number));
    return key;
}

void firstUse(MFSettingsStore& store, std::vector<MFPresetCategory>& categories,
              const std::string& defaultContentRoot) {
    store.setInteger("firstuse", 1);
    std::string content;
    if (!store.getString("contentpath", content))
        content = defaultContentRoot;
    MFPaths::addTrailingSeparator(content);

    for (MFPresetCategory& category : categories) {
        std::string path = content + category.name;
        MFPaths::addTrailingSeparator(path);
        std::string saveKey;
        if (category.isNamedKey) {
            std::string existing;
            if (category.useKeyFirst && store.getString(category.keyName.c_str(), existing))
                continue;
            store.setString(category.keyName.c_str(), path.c_str());
            saveKey = category.keyName + "save";
        } else {
            store.setString(numberedKey("presetpath%d", category.number).c_str(), path.c_str());
            saveKey = numberedKey("presetsavepath%d", category.number);
        }
        if (category.userFolder) {
            path += "User";
            MFPaths::addTrailingSeparator(path);
        }
        store.setString(saveKey.c_str(), path.c_str());
    }
    store.setString("audiofilepath", (content + "Samples/Factory").c_str());
    store.setInteger("ignorePrgChange", 1);
    store.setInteger("CC Map Recall isolate", 0);
}

} // namespace

MFSettingsStartup::Switches MFSettingsStartup::run(MFSettingsStore& store, const char* productName,
                                                   std::vector<MFPresetCategory>& categories,
                                                   const std::string& installFolder,
                                                   const std::string& defaultContentRoot) {
    Switches switches;
    if (!store.open(productName))
        return switches;
    // Everything below reaches the disk in one atomic write.
    store.beginChanges();

    std::string text;
    if (!store.getString("installpath", text)) {
        std::string install = installFolder;
        MFPaths::addTrailingSeparator(install);
        store.setString("installpath", install.c_str());
    }

    int32_t used = 0;
    if (!store.getInteger("firstuse", used) || used == 0)
        firstUse(store, categories, defaultContentRoot);

    store.getInteger("ignorePrgChange", switches.ignorePrgChange);
    store.getInteger("CC Map Recall isolate", switches.ccMapRecallIsolate);
    switches.ignorePrgChange = switches.ignorePrgChange != 0 ? 1 : 0;
    switches.ccMapRecallIsolate = switches.ccMapRecallIsolate != 0 ? 1 : 0;

    if (!store.getString("presetpath0", text) && store.getString("presetpath", text))
        store.setString("presetpath0", text.c_str());

    store.commitChanges();
    store.close();
    return switches;
}
