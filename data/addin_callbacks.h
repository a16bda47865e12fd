// What the data module asks of the add-in module when fetched rows have arrived:
// the readers that show those tables refresh themselves. Called on the main
// thread only, and never expected to call back into a fetch while it runs.
#pragma once

namespace quillorn::data {

class AddInCallbacks {
 public:
  virtual ~AddInCallbacks() = default;
  // The document fields of the active document, after DOCFIELDS arrived.
  virtual void RefreshDocFields() = 0;
  // The Custom Field menu, rebuilt from the new field list.
  virtual void PopulateCustomFields() = 0;
  // The pane's template list, after TEMPLATES arrived.
  virtual void RefreshTemplateQuery() = 0;
  // The ribbon, after a document's rights arrived.
  virtual void SetQuillornRibbonButtonStates() = 0;
};

}  // namespace quillorn::data
