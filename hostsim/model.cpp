// Fresh documents look as a host's blank document does: Word with one section
// and a primary header and footer, Excel with three sheets, PowerPoint with one
// slide and a slide master but no title master.
#include "hostsim/model.h"

namespace quillorn::hostsim {

const std::vector<std::string>& BuiltInPropertyNames() {
  static const std::vector<std::string> kNames = {
      "Title",         "Subject",          "Author",         "Keywords",          "Comments",
      "Template",      "Last Author",      "Revision Number", "Application Name", "Last Print Date",
      "Creation Date", "Last Save Time",   "Total Editing Time", "Number of Pages", "Number of Words",
      "Number of Characters", "Security",  "Category",       "Format",            "Manager",
      "Company",       "Number of Bytes",  "Number of Lines", "Number of Paragraphs", "Number of Slides",
      "Number of Notes", "Number of Hidden Slides", "Number of Multimedia Clips", "Hyperlink Base",
      "Number of Characters (with spaces)"};
  return kNames;
}

std::shared_ptr<DocumentModel> NewDocumentModel(HostType host) {
  auto doc = std::make_shared<DocumentModel>();
  doc->host = host;
  for (const auto& name : BuiltInPropertyNames()) doc->builtin_properties.push_back({name, 4, "", false});
  switch (host) {
    case HostType::ohaWord:
      doc->sections.push_back(std::make_shared<SectionModel>());
      break;
    case HostType::ohaExcel:
      for (int i = 1; i <= 3; ++i) {
        auto sheet = std::make_shared<SheetModel>();
        sheet->name = "Sheet" + std::to_string(i);
        doc->sheets.push_back(sheet);
      }
      break;
    case HostType::ohaPowerPoint:
      doc->slides.push_back(std::make_shared<SlideModel>());
      break;
    case HostType::ohaPublisher:
      break;
  }
  return doc;
}

}  // namespace quillorn::hostsim
