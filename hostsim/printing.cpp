// A print page is a flag on the host and a dialog a question to its hook: the
// simulator decides what the user does there, the add-in only sees the answers.
#include "hostsim/printing.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <vector>

#include "foundation/paths.h"
#include "hostsim/host.h"

namespace quillorn::hostsim {
namespace {

class CommandBarsObject : public SimObject {
 public:
  explicit CommandBarsObject(SimHost& host) : SimObject("CommandBars") {
    Method("ExecuteMso", [&host](Args a) {
      const std::string idMso = Arg(a, 0).AsString();
      if (idMso.empty()) RaiseHost("ExecuteMso needs the name of a built-in command.");
      host.executed_mso.push_back(idMso);
      if (OpensPrintPage(idMso)) host.print_page_shown = true;
      return Variant();
    }, false);
  }
};

class DialogObject : public SimObject {
 public:
  DialogObject(SimHost& host, int dialog) : SimObject("Dialog") {
    Method("Show", [&host, dialog](Args) {
      if (!host.show_dialog) RaiseHost("Nobody is there to answer " + BuiltInDialogName(dialog) + ".");
      const int result = host.show_dialog(dialog);
      // OK in a print dialog prints the document in front.
      const bool printDialog = dialog == kWdDialogFilePrint || dialog == kXlDialogPrint;
      if (printDialog && result == -1 && host.Active()) host.Print(host.Active());
      return Variant(std::int32_t{result});
    }, false);
  }
};

class DialogsObject : public SimObject {
 public:
  explicit DialogsObject(SimHost& host) : SimObject("Dialogs") {
    Prop("Item", [&host](Args a) {
      const int dialog = Arg(a, 0).AsInt();
      return Variant(host.Cached<DialogObject>(&host, "dialog" + std::to_string(dialog), nullptr, host, dialog));
    });
  }
};

ShapeList CloneShapes(const ShapeList& shapes) {
  ShapeList out;
  for (const auto& shape : shapes) out.push_back(std::make_shared<ShapeModel>(*shape));
  return out;
}

void CloneStory(StoryModel& story) { story.shapes = CloneShapes(story.shapes); }

std::uint16_t U16(const std::vector<char>& bytes, std::size_t at) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[at]) |
                                    static_cast<unsigned char>(bytes[at + 1]) << 8);
}

std::uint32_t U32(const std::vector<char>& bytes, std::size_t at) {
  return U16(bytes, at) | static_cast<std::uint32_t>(U16(bytes, at + 2)) << 16;
}

}  // namespace

std::string BuiltInDialogName(int dialog) {
  switch (dialog) {
    case kWdDialogFilePrint: return "wdDialogFilePrint";
    case kXlDialogPrint: return "xlDialogPrint";
    default: return "Dialog " + std::to_string(dialog);
  }
}

bool OpensPrintPage(std::string_view idMso) {
  return idMso == "FilePrint" || idMso == "PrintPreviewAndPrint" || idMso == "FilePrintPreview";
}

ObjectRef CommandBarsRef(SimHost& host) {
  return host.Cached<CommandBarsObject>(&host, "CommandBars", nullptr, host);
}

ObjectRef DialogsRef(SimHost& host) { return host.Cached<DialogsObject>(&host, "Dialogs", nullptr, host); }

std::shared_ptr<DocumentModel> CloneDocument(const DocumentModel& doc) {
  auto copy = std::make_shared<DocumentModel>(doc);
  CloneStory(copy->main_story);
  for (auto& section : copy->sections) {
    section = std::make_shared<SectionModel>(*section);
    for (auto& header : section->headers) CloneStory(header.story);
    for (auto& footer : section->footers) CloneStory(footer.story);
    section->body_shapes = CloneShapes(section->body_shapes);
  }
  for (auto& sheet : copy->sheets) {
    sheet = std::make_shared<SheetModel>(*sheet);
    sheet->shapes = CloneShapes(sheet->shapes);
  }
  for (auto& slide : copy->slides) {
    slide = std::make_shared<SlideModel>(*slide);
    slide->shapes = CloneShapes(slide->shapes);
  }
  copy->title_master_shapes = CloneShapes(copy->title_master_shapes);
  copy->slide_master_shapes = CloneShapes(copy->slide_master_shapes);
  copy->page_shapes = CloneShapes(copy->page_shapes);
  return copy;
}

std::string PictureWord(const std::string& path) {
  // A placeable header of 22 bytes, the metafile header, then records of a
  // 32-bit size in words and a 16-bit function; TextOut is 0x0521.
  constexpr std::uint32_t kPlaceableKey = 0x9AC6CDD7;
  constexpr std::uint16_t kMetaTextOut = 0x0521;
  std::ifstream in(foundation::PathFromUtf8(path), std::ios::binary);
  if (!in) return {};
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::size_t at = 0;
  if (bytes.size() >= 22 && U32(bytes, 0) == kPlaceableKey) at = 22;
  if (bytes.size() < at + 18) return {};
  at += std::size_t{U16(bytes, at + 2)} * 2;
  while (at + 6 <= bytes.size()) {
    const std::size_t size = std::size_t{U32(bytes, at)} * 2;
    const std::uint16_t function = U16(bytes, at + 4);
    if (size < 6 || function == 0) return {};
    if (function == kMetaTextOut && at + 8 <= bytes.size()) {
      const std::size_t count = U16(bytes, at + 6);
      if (at + 8 + count > bytes.size()) return {};
      return std::string(bytes.data() + at + 8, count);
    }
    at += size;
  }
  return {};
}

}  // namespace quillorn::hostsim
