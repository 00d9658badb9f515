// Reads and writes the plug-in's per-user settings from the command line, for the
// install step and for musicians who move their content.
//
//   cadenzoid-settings get <name>
//   cadenzoid-settings set <name> <text>
//   cadenzoid-settings set-integer <name> <number>

#include "presets/MFSettingsStore.h"

#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    MFSettingsStore store;
    if (!store.open("Cadenzoid")) {
        std::cerr << "cadenzoid-settings: cannot open the settings folder\n";
        return 1;
    }
    int status = 0;
    if (command == "get" && argc == 3) {
        std::string text;
        int32_t number = 0;
        if (store.getString(argv[2], text))
            std::cout << text << "\n";
        else if (store.getInteger(argv[2], number))
            std::cout << number << "\n";
        else
            status = 1;
    } else if (command == "set" && argc == 4) {
        status = store.setString(argv[2], argv[3]) ? 0 : 1;
    } else if (command == "set-integer" && argc == 4) {
        status = store.setInteger(argv[2], int32_t(std::strtol(argv[3], nullptr, 10))) ? 0 : 1;
    } else {
        std::cerr << "usage: cadenzoid-settings get <name> | set <name> <text> | "
                     "set-integer <name> <number>\n";
        status = 2;
    }
    store.close();
    return status;
}
