#pragma once

class MFOptionMenu;

// Told when a menu opens and closes. A false answer to menuOpened keeps the menu shut.
class MFOptionMenuExtraCallBack {
public:
    virtual ~MFOptionMenuExtraCallBack() = default;
    virtual bool menuOpened(MFOptionMenu* menu) = 0;
    virtual void menuClosed(MFOptionMenu* menu) = 0;
};
