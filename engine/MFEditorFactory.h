#pragma once

class AEffGUIEditor;
class MFUniClient;

// Makes the editor of a plug-in object. The plug-in module hands one to the engine, so
// the engine never depends on the user interface and builds and tests without it.
using MFEditorFactory = AEffGUIEditor* (*)(MFUniClient& plugin);
