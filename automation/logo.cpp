#include "automation/logo.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "automation/image_size.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "platform/office_constants.h"

namespace quillorn::automation {
namespace {

using foundation::LogTrace;
using platform::Variant;
using I = std::int32_t;


void MakePlaceholder(const Variant& shape) {
  shape.Get("TextFrame").Get("TextRange").Put("Text", Variant(kLogoPlaceholderText));
  shape.Put("Width", Variant(shape.Get("Height").AsDouble() * 2));
  Variant fill = shape.Get("Fill");
  Variant fore = fill.Get("ForeColor");
  fore.Put("ObjectThemeColor", Variant(platform::kMsoThemeColorText2));
  fore.Put("TintAndShade", Variant(0.8));
  fill.Call("Solid");
  Variant line = shape.Get("Line");
  line.Put("Visible", Variant(true));
  line.Put("DashStyle", Variant(platform::kMsoLineDash));
  line.Get("ForeColor").Put("TintAndShade", Variant(0.4));
}

bool ReadPictureSize(const std::string& file, std::uint16_t& width, std::uint16_t& height) {
  return ReadPngSize(file, width, height) || ReadJpegSize(file, width, height) || ReadGifSize(file, width, height);
}

void UpdateLogoShape(const Variant& shape, const std::string& file) {
  const std::string name = shape.Get("Name").AsString();
  LogTrace("Found Shape: ", name);
  if (!IsLogoShapeName(name)) return;
  LogTrace("Update Logo shape: ", name);
  if (file.empty()) {
    MakePlaceholder(shape);
    return;
  }
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  // A picture of no known kind (a GIF among them) leaves the shape as it is.
  if (!ReadPictureSize(file, width, height)) return;
  LogTrace("Logo", file + "\r\v      Dimensions: " + std::to_string(width) + " x " + std::to_string(height));
  if (height == 0) throw std::domain_error("Floating point division by zero");
  const double ratio = static_cast<double>(width) / height;
  // The shape's height stands; the width follows the picture, cut, not rounded.
  shape.Put("Width", Variant(std::trunc(shape.Get("Height").AsDouble() * ratio)));
  shape.Get("Line").Put("Visible", Variant(false));
  shape.Get("TextFrame").Get("TextRange").Put("Text", Variant(""));
  Variant fill = shape.Get("Fill");
  fill.Get("ForeColor").Put("TintAndShade", Variant(1.0));
  fill.Get("BackColor").Put("TintAndShade", Variant(1.0));
  fill.Put("Transparency", Variant(0.0));
  fill.Put("Visible", Variant(true));
  fill.Call("UserPicture", {Variant(file)});
  LogTrace("Logo", "updated");
}

// Loop bounds are read once, as everywhere: a shape added on the way isn't visited.
void UpdateLogoShapes(const Variant& shapes, const std::string& file) {
  const I count = shapes.Get("Count").AsInt();
  for (I i = 1; i <= count; ++i) UpdateLogoShape(shapes.Get("Item", {i}), file);
}

}  // namespace

bool IsLogoShapeName(std::string_view name) { return name.substr(0, 6) == kLogoShapePrefix; }

void UpdateLogo(const Variant& Doc, const std::string& LogoFile) {
  foundation::Guarded("in UpdateLogo", [&] {
    LogTrace("UpdateLogo file: ", LogoFile);
    Variant section = Doc.Get("Sections").Get("Item", {I{1}});
    // A header's Shapes covers the shapes of every header and footer.
    UpdateLogoShapes(section.Get("Headers").Get("Item", {I{1}}).Get("Shapes"), LogoFile);
    UpdateLogoShapes(section.Get("Range").Get("ShapeRange"), LogoFile);
  });
}

}  // namespace quillorn::automation
