#include "addin/custom_fields.h"

namespace quillorn::addin {

void PopulateCustomFields(CommandSurface& surface, data::Table& tblDocFields) {
  surface.ClearCustomFieldMenu();
  if (!tblDocFields.Active()) return;
  tblDocFields.First();
  while (!tblDocFields.Eof()) {
    surface.AddCustomFieldMenuButton(tblDocFields.FieldByName("code").AsString(),
                                     tblDocFields.FieldByName("val").AsString());
    tblDocFields.Next();
  }
}

}  // namespace quillorn::addin
