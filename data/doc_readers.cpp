#include "data/doc_readers.h"

#include <algorithm>
#include <string>

namespace quillorn::data {

bool IsGlobalTemplate(Tdm& dm) {
  Table& doc = dm.tblDoc;
  return doc.Active() && !doc.FieldByName("FRAMEWORK").IsNull() && doc.FieldByName("FRAMEWORK").AsInteger() == -2;
}

bool IsWebForm(Tdm& dm) {
  Table& doc = dm.tblDoc;
  return doc.Active() && doc.FieldByName("WEB_FORM").AsString() == "Y";
}

void SetDocTemplateID(Tdm& dm, std::int32_t TemplateID) {
  Table& doc = dm.tblDoc;
  if (!doc.Active()) return;
  if (doc.State() != DataSetState::Edit && doc.State() != DataSetState::Insert) doc.Edit();
  doc.FieldByName("TEMPLATE_ID").SetValue(Variant(TemplateID));
}

void tblDocKEYWORDSSetText(Table& Doc, const std::string& Text) {
  Field keywords = Doc.FieldByName("KEYWORDS");
  std::string text = Text;
  // One separator after the other, each step written: whoever watches the
  // field sees the same changes as ever.
  for (char separator : {',', ';', '/', '\\', '.'}) {
    std::replace(text.begin(), text.end(), separator, ' ');
    keywords.SetValue(Variant(text));
  }
}

}  // namespace quillorn::data
