#pragma once

class CBitmap;

// The skin's bitmaps, ids 1000 to 1188, shared by every editor of the process. The first
// acquire decodes them, the last release frees them; both run on the user-interface
// thread only, from the editors' open and close.
namespace MFBitmapTable {
void acquire();
void release();
// Null for an id outside 1000..1188, for a bitmap that failed to decode, and while
// no editor holds the table.
CBitmap* getBitmap(int id);
int useCount();
} // namespace MFBitmapTable
