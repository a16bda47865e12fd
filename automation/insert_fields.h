// What the Insert tab puts into the document in front: a revision or custom
// field (Word's DOCPROPERTY field, Excel's formula on the defined name,
// PowerPoint's named text box), the logo shape, and a picture uploaded from
// another device. Host calls only: never shows a message, never reads the data
// module; the caller decides names, labels and values. Host failures propagate.
#pragma once

#include <string>
#include <string_view>

#include "platform/host_type.h"
#include "platform/variant.h"

namespace quillorn::automation {

struct FieldToInsert {
  std::string name;   // the document property, e.g. "cmsDocNumber" or "Department"
  std::string label;  // put before the field; empty for none
  bool isDate = false;
  std::string dateFormat;  // Excel only
  std::string value;       // PowerPoint only: the text written now
};

// At the selection (Word), into the active cell (Excel), as a text box on the
// first slide named after the property (PowerPoint). Publisher takes nothing.
void InsertField(platform::HostType host, const platform::Variant& Application, const FieldToInsert& field);

// The Excel formula for a field: =name, or the label joined to it, a date
// through TEXT with the format.
std::string FieldFormula(const FieldToInsert& field);

// "qllogo" and the minutes and seconds as mm_ss: two logos placed in the same
// second of an hour carry the same name.
std::string LogoShapeName(int minutes, int seconds);

// Word only: a 100 by 50 rectangle where the selection is (a header, a footer
// or the main text), named `shapeName`, filled with the logo file or made the
// placeholder without one. False, and nothing added, where no logo may go.
bool InsertLogoShape(const platform::Variant& Application, const std::string& LogoFile,
                     const std::string& shapeName);

// The uploaded picture at the active cell, the selection, or on the first
// slide at 100, 100.
void InsertUploadedPicture(platform::HostType host, const platform::Variant& Application,
                           const std::string& path);

}  // namespace quillorn::automation
