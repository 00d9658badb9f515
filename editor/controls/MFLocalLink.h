#pragma once

#include "editor/controls/MFWebLink.h"

// A link to the manual in the installation folder: "Manual.pdf", or "Manual.htm" where
// that is what the folder holds. It opens at the press.
class MFLocalLink : public MFWebLink {
public:
    // installFolder: the "installpath" setting, with or without a closing slash.
    MFLocalLink(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
                CBitmap* bitmap, const std::string& installFolder);

    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;

    // The manual's path as found at construction.
    static std::string manualPath(const std::string& installFolder);
};
