#include "data/doc_readers.h"

#include <algorithm>
#include <string>

#include "data/login.h"

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

void tblDocCalcFields(Tdm& dm) {
  // As long as a login of the users table can be, with the blank between names.
  constexpr int kLoginNameSize = 61;
  auto loginOf = [&dm](const char* userField) {
    return [&dm, userField](Table& doc) { return Variant(GetLoginName(dm, doc.FieldByName(userField).AsInteger())); };
  };
  dm.tblDoc.AddCalculatedField("CREATED_BY_STR", FieldKind::String, kLoginNameSize, loginOf("CREATED_BY"));
  dm.tblDoc.AddCalculatedField("STATUS_BY_STR", FieldKind::String, kLoginNameSize, loginOf("STATUS_BY"));
}

}  // namespace quillorn::data
