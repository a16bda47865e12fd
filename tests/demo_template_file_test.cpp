// The demo organisation's letterhead, as the template merge opens it: the file
// the server stores must be one the simulated Word reads as a document.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hostsim/doc_file.h"
#include "server/demo_files.h"

namespace quillorn {
namespace {

TEST(DemoTemplateFile, OpensInWordWithTheLogoShapeAndTheRevisionFields) {
  const auto doc = hostsim::DocumentFromJson(server::DemoTemplateDocument(), platform::HostType::ohaWord);
  ASSERT_EQ(doc->sections.size(), 1u);
  const hostsim::SectionModel& section = *doc->sections[0];

  // The primary header carries the shape the logo routine looks for by name.
  const hostsim::HeaderFooterModel& header = section.headers[0];
  EXPECT_TRUE(header.created);
  ASSERT_EQ(header.story.shapes.size(), 1u);
  EXPECT_EQ(header.story.shapes[0]->name.substr(0, 6), "qllogo");
  EXPECT_GT(header.story.shapes[0]->height, 0);
  EXPECT_NE(header.story.text.find("Quillorn Demo Engineering Ltd"), std::string::npos);
  // No first-page header: the merge switches a document's first page layout off.
  EXPECT_FALSE(section.page_setup.different_first_page);

  std::vector<std::string> codes;
  for (const hostsim::FieldModel& field : section.footers[0].story.fields) {
    EXPECT_EQ(field.type, 85) << field.code;
    codes.push_back(field.code);
  }
  EXPECT_EQ(codes,
            (std::vector<std::string>{" DOCPROPERTY \"cmsDocNumber\" ", " DOCPROPERTY \"cmsDocName\" ",
                                      " DOCPROPERTY \"cmsRevision\" ", " DOCPROPERTY \"cmsRevisionDate\" "}));
  EXPECT_EQ(section.page_setup.top_margin, 90);
}

}  // namespace
}  // namespace quillorn
