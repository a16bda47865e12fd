// What the simulated hosts offer for printing beside the print itself: the
// built-in commands run by name (CommandBars.ExecuteMso), the built-in print
// dialogs (Application.Dialogs), and a copy of a document as it went to the
// printer. Never asks a user: a dialog's answer comes from the host's hook.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "hostsim/model.h"
#include "hostsim/sim_object.h"

namespace quillorn::hostsim {

class SimHost;

// The built-in print dialogs by their number in Application.Dialogs.
inline constexpr int kWdDialogFilePrint = 88;
inline constexpr int kXlDialogPrint = 8;

// "wdDialogFilePrint", "xlDialogPrint", or "Dialog N" for any other.
std::string BuiltInDialogName(int dialog);

// The built-in commands that open the print page (the backstage's print tab in
// later versions, the print dialog or preview in 2007).
bool OpensPrintPage(std::string_view idMso);

ObjectRef CommandBarsRef(SimHost& host);
ObjectRef DialogsRef(SimHost& host);

// A copy that shares nothing with `doc`: what the printer got stays as it was
// whatever happens to the document afterwards.
std::shared_ptr<DocumentModel> CloneDocument(const DocumentModel& doc);

// The word drawn in a stamp picture (the text record of an old-form Windows
// metafile); empty when the file cannot be read or holds no text.
std::string PictureWord(const std::string& path);

}  // namespace quillorn::hostsim
