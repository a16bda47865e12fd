#include "automation/insert_fields.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>

#include "automation/image_size.h"
#include "foundation/log.h"

namespace quillorn::automation {

using platform::HostType;
using platform::Variant;

namespace {

constexpr std::int32_t kWdFieldEmpty = -1;
constexpr std::int32_t kMsoShapeRectangle = 1;
constexpr std::int32_t kMsoTextOrientationHorizontal = 1;
constexpr std::int32_t kWdHorizontalPositionRelativeToPage = 5;
constexpr std::int32_t kWdVerticalPositionRelativeToPage = 6;
constexpr std::int32_t kWdActiveEndSectionNumber = 2;
constexpr std::int32_t kWdWrapInline = 7;
constexpr std::int32_t kMsoThemeColorBackground2 = 15;  // the placeholder's light fill
constexpr std::int32_t kMsoLineDash = 4;
constexpr double kLogoHeight = 50;

Variant I(std::int32_t v) {
  return Variant(v);
}
Variant D(double v) {
  return Variant(v);
}

// The three readers in turn; the first that knows the file counts, and a file
// one of them cannot open is only that reader's failure.
bool LogoPictureSize(const std::string& file, std::uint16_t& width, std::uint16_t& height) {
  for (auto* reader : {&ReadPngSize, &ReadJpegSize, &ReadGifSize}) {
    try {
      if (reader(file, width, height) && height != 0) return true;
    } catch (const std::exception&) {
    }
  }
  return false;
}

}  // namespace

std::string FieldFormula(const FieldToInsert& field) {
  if (field.label.empty()) return "=" + field.name;
  if (!field.isDate) return "=\"" + field.label + " \" & " + field.name;
  return "=\"" + field.label + " \" & TEXT(" + field.name + ",\"" + field.dateFormat + "\")";
}

void InsertField(HostType host, const Variant& Application, const FieldToInsert& field) {
  switch (host) {
    case HostType::ohaExcel: {
      Variant cell = Application.Get("ActiveCell");
      // A bare date shows through the cell's format; with a label TEXT formats it.
      if (field.label.empty() && field.isDate) cell.Put("NumberFormat", Variant(field.dateFormat));
      cell.Put("Formula", Variant(FieldFormula(field)));
      break;
    }
    case HostType::ohaWord: {
      Variant selection = Application.Get("Selection");
      // TypeText leaves the insertion point after what it typed.
      if (!field.label.empty()) selection.Call("TypeText", {Variant(field.label + " ")});
      selection.Get("Fields").Call("Add", {selection.Get("Range"), I(kWdFieldEmpty),
                                           Variant("DOCPROPERTY " + field.name), Variant(false)});
      break;
    }
    case HostType::ohaPowerPoint: {
      // No fields here: the value is written once, and the box's name is how the
      // field routines find it again.
      Variant box = Application.Get("ActivePresentation")
                        .Get("Slides")
                        .Call("Item", {I(1)})
                        .Get("Shapes")
                        .Call("AddTextbox", {I(kMsoTextOrientationHorizontal), D(50), D(50), D(500), D(10)});
      box.Get("TextFrame").Get("TextRange").Put("Text", Variant(field.value));
      box.Put("Name", Variant(field.name));
      break;
    }
    case HostType::ohaPublisher:
      break;
  }
}

std::string LogoShapeName(int minutes, int seconds) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%02d_%02d", minutes % 100, seconds % 100);
  return std::string("qllogo") + buf;
}

bool InsertLogoShape(const Variant& Application, const std::string& LogoFile, const std::string& shapeName) {
  Variant selection = Application.Get("Selection");
  Variant doc = Application.Get("ActiveDocument");
  foundation::LogTrace("InsertLogo", "get StoryType");
  const int story = selection.Get("StoryType").AsInt();
  foundation::LogTrace("InsertLogo", "got StoryType");
  struct Place {
    int story;
    bool header;
    int index;
  };
  static constexpr Place kPlaces[] = {{7, true, 1},  {10, true, 2},  {6, true, 3},
                                      {9, false, 1}, {11, false, 2}, {8, false, 3}};
  Variant shapes;
  double left = 20, top = 20;
  const bool body = story == 1;
  if (body) {
    shapes = doc.Get("Shapes");
    left = selection.Call("Information", {I(kWdHorizontalPositionRelativeToPage)}).AsDouble();
    top = selection.Call("Information", {I(kWdVerticalPositionRelativeToPage)}).AsDouble();
  } else {
    const Place* place = nullptr;
    for (const Place& p : kPlaces) {
      if (p.story == story) place = &p;
    }
    if (place == nullptr) return false;
    const Variant section =
        doc.Get("Sections")
            .Call("Item", {I(selection.Call("Information", {I(kWdActiveEndSectionNumber)}).AsInt())});
    shapes = section.Get(place->header ? "Headers" : "Footers").Call("Item", {I(place->index)}).Get("Shapes");
    // A footer's logo sits 70 points above the bottom of the page.
    if (!place->header) top = doc.Get("PageSetup").Get("PageHeight").AsDouble() - 70;
  }
  Variant shape = shapes.Call("AddShape", {I(kMsoShapeRectangle), D(left), D(top), D(100), D(kLogoHeight)});
  foundation::LogTrace("InsertLogo", "AddShape done");
  shape.Put("Name", Variant(shapeName));
  foundation::LogTrace("InsertLogo", "Setting Shape name: " + shapeName);
  if (LogoFile.empty()) {
    shape.Get("TextFrame").Get("TextRange").Put("Text", Variant("Your Logo goes here"));
    Variant fill = shape.Get("Fill");
    fill.Get("ForeColor").Put("ObjectThemeColor", I(kMsoThemeColorBackground2));
    fill.Get("ForeColor").Put("TintAndShade", D(0.8));
    fill.Call("Solid");
    Variant line = shape.Get("Line");
    line.Put("Visible", Variant(true));
    line.Put("DashStyle", I(kMsoLineDash));
    line.Get("ForeColor").Put("TintAndShade", D(0.4));
    if (body) shape.Get("WrapFormat").Put("Type", I(kWdWrapInline));
    return true;
  }
  std::uint16_t width = 0, height = 0;
  // A picture none of the readers knows leaves the rectangle as it was added.
  if (!LogoPictureSize(LogoFile, width, height)) return true;
  shape.Put("Width", D(std::round(static_cast<double>(width) / height * kLogoHeight)));
  shape.Put("Height", D(kLogoHeight));
  shape.Get("Line").Put("Visible", Variant(false));
  shape.Get("Fill").Call("UserPicture", {Variant(LogoFile)});
  if (body) shape.Get("WrapFormat").Put("Type", I(kWdWrapInline));
  return true;
}

void InsertUploadedPicture(HostType host, const Variant& Application, const std::string& path) {
  foundation::LogTrace("InsertImg", path);
  switch (host) {
    case HostType::ohaExcel: {
      const Variant cell = Application.Get("ActiveCell");
      Application.Get("ActiveSheet")
          .Get("Shapes")
          .Call("AddPicture", {Variant(path), Variant(false), Variant(true), cell.Get("Left"),
                               cell.Get("Top"), D(-1), D(-1)});
      break;
    }
    case HostType::ohaWord:
      Application.Get("Selection").Get("InlineShapes").Call("AddPicture", {Variant(path)});
      break;
    case HostType::ohaPowerPoint:
      Application.Get("ActivePresentation")
          .Get("Slides")
          .Call("Item", {I(1)})
          .Get("Shapes")
          .Call("AddPicture", {Variant(path), Variant(false), Variant(true), D(100), D(100), D(-1), D(-1)});
      break;
    case HostType::ohaPublisher:
      break;
  }
}

}  // namespace quillorn::automation
