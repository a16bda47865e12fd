#include "workflow/document_save.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "automation/protection.h"
#include "data/catalogue_test_support.h"
#include "data/change_capture.h"
#include "data/fetching.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "foundation/temp_folder_for_test.h"
#include "hostsim/doc_file.h"
#include "platform/real_files_for_test.h"
#include "workflow/workflow.h"
#include "workflow/workflow_fixture_for_test.h"

namespace quillorn::workflow {
namespace {

using platform::HostType;
using testing::CachedDoc;
using testing::FakeSite;
using testing::FilesRow;

constexpr std::int32_t kDocId = 12;
constexpr std::int32_t kDocNo = 120;

const char* FileNameFor(HostType kind) {
  switch (kind) {
    case HostType::ohaWord: return "Procedure.docx";
    case HostType::ohaExcel: return "Register.xlsx";
    case HostType::ohaPowerPoint: return "Induction.pptx";
    case HostType::ohaPublisher: return "Leaflet.pub";
  }
  return "";
}

// A managed document as tracking leaves it: cached record, FILES row, the
// file open and active in the host, tblFiles and tblDoc on their rows.
struct Managed {
  Managed(HostType kind, const std::string& status, FilesRow row = {}, int port = 0) : site(kind, port) {
    site.CacheDocument(CachedDoc{.DOC_ID = kDocId, .DOC_NO = kDocNo, .STATUS = status}, 3);
    path = site.cache + FileNameFor(kind);
    row.DOC_ID = kDocId;
    if (row.FILENAME.empty()) row.FILENAME = path;
    row.INIT = true;
    row.IGNORE = row.IGNORE.value_or(false);
    row.SESSION_ID = site.sessionID;
    site.Announce(row);
    doc = site.OpenDocument(FileNameFor(kind), std::to_string(kDocId));
    model = site.Model(doc);
    model->MarkChanged();
    data::OpenFiles((*site.tdm));
    EXPECT_TRUE((*site.tdm).tblFiles.Locate("FILENAME", Variant(row.FILENAME)));
    EXPECT_TRUE(data::OpenDoc(*site.tdm, kDocId, data::Fetch::IfNeeded, data::Wait::No));
  }

  std::string Status() { return (*site.tdm).cacheLookup("select STATUS from DOCS where DOC_ID=12").AsString(); }
  std::vector<std::string> PublishedTypes() {
    std::vector<std::string> types;
    const auto rows = (*site.tdm).Cache.CacheDB().Query(
        "select SOURCE_TYPE from PUBLISHED_DOCS where DOC_NO=120 and DOC_ID=12 order by SOURCE_TYPE");
    for (const auto& r : rows.rows) types.push_back(r[0].AsString());
    return types;
  }
  std::shared_ptr<hostsim::DocumentModel> Published(const std::string& sourceType, HostType kind) {
    const Variant blob = (*site.tdm).cacheLookup("select SOURCE from PUBLISHED_DOCS where DOC_NO=120 and SOURCE_TYPE='" +
                                               sourceType + "'");
    return hostsim::DocumentFromJson(blob.AsString(), kind);
  }
  // Everything in the cache folder besides the document, the cache and deltas.
  std::vector<std::string> Leftovers() {
    std::vector<std::string> out;
    for (const auto& entry : std::filesystem::directory_iterator(site.cache)) {
      const std::string name = entry.path().filename().string();
      if (name == FileNameFor(site.host->Kind()) || name.rfind("cache.dat", 0) == 0 || name.find('.') == std::string::npos ||
          name.rfind("DOCS.", 0) == 0 || name.rfind("PUBLISHED_DOCS.", 0) == 0)
        continue;
      out.push_back(name);
    }
    return out;
  }
  std::string ExceptLog() {
    return foundation::testing::ReadAll(site.traced.folder.Path() / foundation::kExceptFileName) + site.Trace();
  }
  bool HasCmsID(const hostsim::DocumentModel& m) {
    for (const auto& p : m.custom_properties) {
      if (p.name == "cmsID") return true;
    }
    return false;
  }

  FakeSite site;
  Workflow wf{site};
  std::string path;
  Variant doc;
  std::shared_ptr<hostsim::DocumentModel> model;
};

TEST(DocumentSave, SaveMarksTheDocumentAsEditedUnlessCheckedOutOrApproved) {
  struct Case {
    const char* before;
    const char* after;
  };
  // "A" is online here, with both flags off: no publishing.
  for (const Case& c : std::vector<Case>{{"W", "E"}, {"E", "E"}, {"R", "E"}, {"C", "C"}, {"A", "A"}}) {
    SCOPED_TRACE(c.before);
    Managed m(HostType::ohaWord, c.before);
    (*m.site.tdm).Connection.mIsServerReachable = true;
    EXPECT_TRUE(m.wf.Saving.DocumentSave());
    EXPECT_EQ(m.Status(), c.after);
    EXPECT_TRUE(m.model->saved) << "the host wrote the file";
    EXPECT_FALSE(m.site.internalSave.IsSet());
    EXPECT_TRUE(m.PublishedTypes().empty());
    EXPECT_TRUE(m.HasCmsID(*m.model));
  }
}

TEST(DocumentSave, IgnoredOrReadOnlyRowsAreLeftToTheHost) {
  for (const FilesRow& row : {FilesRow{.READ_ONLY = true}, FilesRow{.IGNORE = true}}) {
    Managed m(HostType::ohaWord, "W", row);
    EXPECT_FALSE(m.wf.Saving.DocumentSave());
    EXPECT_EQ(m.Status(), "W");
    EXPECT_FALSE(m.model->saved);
    EXPECT_TRUE(data::CacheFilesOf(platform::testing::RealFiles(), m.site.cache, "DOCS").empty());
  }
}

TEST(DocumentSave, OfflineSaveHandsRecordAndFileToTheCommit) {
  Managed m(HostType::ohaWord, "W");
  EXPECT_TRUE(m.wf.Saving.DocumentSave());
  EXPECT_EQ(data::CacheFilesOf(platform::testing::RealFiles(), m.site.cache, "DOCS").size(), 1u);
  EXPECT_EQ((*m.site.tdm).cacheLookup("select count(*) from CACHELOG").AsInt(), 1);
  EXPECT_TRUE(m.site.Row(m.path)->CACHED);
  EXPECT_FALSE((*m.site.tdm).cacheLookup("select LAST_SAVED from FILES where DOC_ID=12").IsEmptyOrNull());
}

TEST(DocumentSave, CheckedOutSaveStaysWithTheUser) {
  Managed m(HostType::ohaWord, "W", FilesRow{.CHECKED_OUT = true});
  EXPECT_TRUE(m.wf.Saving.DocumentSave());
  EXPECT_TRUE(m.site.Row(m.path)->CACHED);
  EXPECT_TRUE(m.model->saved);
  EXPECT_EQ(m.Status(), "E") << "the record changes in the cache all the same";
  EXPECT_TRUE(data::CacheFilesOf(platform::testing::RealFiles(), m.site.cache, "DOCS").empty()) << "no delta of the record";
  EXPECT_EQ((*m.site.tdm).cacheLookup("select count(*) from CACHELOG").AsInt(), 0);
  EXPECT_TRUE((*m.site.tdm).cacheLookup("select LAST_SAVED from FILES where DOC_ID=12").IsEmptyOrNull())
      << "SaveDocument did not run";
}

// The row still names the file as it was before the host changed its format; a
// name that differs only in case is no rename.
TEST(DocumentSave, HostThatRenamedTheFileMovesTheRowAndExtension) {
  struct Case {
    const char* rowName;
    const char* extBefore;
    const char* rowNameAfter;  // null: the document's own path
    const char* extAfter;
  };
  for (const Case& c : std::vector<Case>{{"Procedure.doc", ".doc", nullptr, ".docx"},
                                         {"PROCEDURE.DOCX", ".DOCX", "PROCEDURE.DOCX", ".DOCX"}}) {
    SCOPED_TRACE(c.rowName);
    Managed m(HostType::ohaWord, "W");
    const std::string old = m.site.cache + c.rowName;
    m.site.Exec(std::string("update DOCS set FILE_EXT='") + c.extBefore + "' where DOC_ID=12");
    m.site.Exec("update FILES set FILENAME='" + old + "' where DOC_ID=12");
    (*m.site.tdm).tblFiles.Refresh();
    ASSERT_TRUE((*m.site.tdm).tblFiles.Locate("FILENAME", Variant(old)));

    EXPECT_TRUE(m.wf.Saving.DocumentSave());
    EXPECT_EQ(m.site.FilesRowCount(), 1);
    EXPECT_EQ((*m.site.tdm).cacheLookup("select FILENAME from FILES where DOC_ID=12").AsString(),
              c.rowNameAfter ? m.site.cache + c.rowNameAfter : m.path);
    EXPECT_EQ((*m.site.tdm).cacheLookup("select FILE_EXT from DOCS where DOC_ID=12").AsString(), c.extAfter);
  }
}

TEST(DocumentSave, ApprovedDocumentOfflinePublishesOfficeFileAndPdfInEveryHost) {
  for (HostType kind : {HostType::ohaWord, HostType::ohaExcel, HostType::ohaPowerPoint}) {
    SCOPED_TRACE(hostsim::HostKindName(kind));
    Managed m(kind, "A");
    m.site.Exec("update DOCS set PUBLISH_PRIVATE='N', PUBLISH_PUBLIC='N', PUBLISH_UNPROTECTED='Y' where DOC_ID=12");
    (*m.site.tdm).tblDoc.Refresh();
    EXPECT_TRUE(m.wf.Saving.DocumentSave());

    EXPECT_EQ(m.PublishedTypes(), (std::vector<std::string>{"O", "P"}));
    EXPECT_FALSE(m.HasCmsID(*m.Published("O", kind))) << "what leaves the system carries no identity";
    EXPECT_TRUE(m.HasCmsID(*m.model)) << "the cached document gets it back";
    EXPECT_TRUE(m.HasCmsID(*hostsim::LoadDocumentFile(m.path, kind))) << "and so does its file";
    EXPECT_EQ(m.Status(), "A");
    EXPECT_EQ(data::CacheFilesOf(platform::testing::RealFiles(), m.site.cache, "PUBLISHED_DOCS").size(), 1u);
    EXPECT_TRUE(m.Leftovers().empty()) << m.Leftovers().front();
    EXPECT_TRUE(m.site.Traced("DocumentSave", "Generating published approved doc as UNprotected"));
  }
}

TEST(DocumentSave, ChangedPageFormatBoxOfAWordTemplateGoesToTheServer) {
  auto statements = std::make_shared<std::vector<std::string>>();
  auto mutex = std::make_shared<std::mutex>();
  data::testing::CatalogueServer server([statements, mutex](server::FunctionTable& table) {
    table.Register("execsql", [statements, mutex](const transport::TRpcRecord& params) {
      std::lock_guard<std::mutex> lock(*mutex);
      statements->push_back(params.GetString("sql"));
      return transport::BooleanValue(true);
    });
  });
  const std::string stem = "update or insert into codes (D_TYPE,CODE,VAL) values ('TEMPLATE_SETTNG', 'KEEP_PG_FORMAT:120";
  struct Case {
    HostType kind;
    std::optional<PageFormatSetting> box;
    const char* sent;  // "" for nothing
  };
  const std::vector<Case> cases = {
      {HostType::ohaWord, std::nullopt, ""},
      {HostType::ohaWord, PageFormatSetting{.loaded = true, .checked = true}, ""},
      {HostType::ohaWord, PageFormatSetting{.loaded = false, .checked = true}, "', 'Y') matching (D_TYPE,CODE)"},
      {HostType::ohaWord, PageFormatSetting{.loaded = true, .checked = false}, "', 'N') matching (D_TYPE,CODE)"},
      {HostType::ohaExcel, PageFormatSetting{.loaded = false, .checked = true}, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(hostsim::HostKindName(c.kind)) + c.sent);
    {
      std::lock_guard<std::mutex> lock(*mutex);
      statements->clear();
    }
    Managed m(c.kind, "W", {}, server.Port());
    m.site.pageFormat = c.box;
    ASSERT_TRUE((*m.site.tdm).ConnectToServer(true));
    EXPECT_TRUE(m.wf.Saving.DocumentSave());
    std::lock_guard<std::mutex> lock(*mutex);
    if (*c.sent == '\0') {
      EXPECT_TRUE(statements->empty());
    } else {
      EXPECT_EQ(*statements, (std::vector<std::string>{stem + c.sent}));
    }
  }
}

TEST(DocumentSave, PublishDecisionOnline) {
  struct Case {
    const char* status;
    const char* isPrivate;
    const char* isPublic;
    bool published;
    HostType kind = HostType::ohaExcel;
  };
  for (const Case& c : std::vector<Case>{{"A", "N", "N", false},
                                         {"A", "Y", "N", true},
                                         {"A", "N", "Y", true},
                                         {"C", "Y", "Y", false},
                                         {"W", "Y", "Y", false},
                                         {"A", "Y", "Y", false, HostType::ohaPublisher}}) {
    SCOPED_TRACE(std::string(c.status) + c.isPrivate + c.isPublic + std::string(hostsim::HostKindName(c.kind)));
    Managed m(c.kind, c.status);
    m.site.Exec(std::string("update DOCS set PUBLISH_PRIVATE='") + c.isPrivate + "', PUBLISH_PUBLIC='" + c.isPublic +
                "' where DOC_ID=12");
    (*m.site.tdm).tblDoc.Refresh();
    (*m.site.tdm).Connection.mIsServerReachable = true;
    EXPECT_TRUE(m.wf.Saving.DocumentSave());
    EXPECT_TRUE(m.model->saved);
    EXPECT_EQ(m.PublishedTypes().size(), c.published ? 2u : 0u);
  }
}

TEST(DocumentSave, WordPublishesProtectedAndLeavesTheDocumentOpenForEditing) {
  Managed m(HostType::ohaWord, "A");
  m.model->track_revisions = true;
  m.model->revisions = 3;
  EXPECT_TRUE(m.wf.Saving.DocumentSave());
  const auto published = m.Published("O", HostType::ohaWord);
  EXPECT_EQ(published->protection_type, 2);
  EXPECT_EQ(published->protection_password, automation::kProtectionPassword);
  EXPECT_EQ(published->revisions, 0);
  EXPECT_EQ(m.model->protection_type, -1);
  EXPECT_FALSE(m.model->track_revisions);
  EXPECT_EQ(m.model->full_name, m.path) << "the PDF is an export, not a new name";
  EXPECT_TRUE(m.site.Traced("DocumentSave", "Generating published approved doc as protected"));
}

TEST(DocumentSave, WordPdfThatDidNotAppearIsLoggedAndTheSaveGoesOn) {
  Managed m(HostType::ohaWord, "A");
  // A folder where the PDF should go: the export fails and no file appears.
  std::filesystem::create_directories(m.path + ".pdf");
  EXPECT_TRUE(m.wf.Saving.DocumentSave());
  EXPECT_EQ(m.PublishedTypes(), (std::vector<std::string>{"O"}));
  const std::string log = m.ExceptLog();
  EXPECT_NE(log.find("while publishing as wdFormatPDF!"), std::string::npos);
  EXPECT_NE(log.find("Publishing as wdFormatPDF failed for: " + m.path + ".pdf"), std::string::npos);
  EXPECT_TRUE(m.model->saved);
  EXPECT_TRUE(m.site.Row(m.path)->CACHED);
}

TEST(DocumentSave, ApprovedPowerPointPublishedProtectedHasOnlySlidePictures) {
  Managed m(HostType::ohaPowerPoint, "A");
  m.model->slides.front()->shapes.push_back(std::make_shared<hostsim::ShapeModel>());
  auto second = std::make_shared<hostsim::SlideModel>();
  second->shapes.push_back(std::make_shared<hostsim::ShapeModel>());
  second->shapes.push_back(std::make_shared<hostsim::ShapeModel>());
  m.model->slides.push_back(second);

  EXPECT_TRUE(m.wf.Saving.DocumentSave());
  const auto published = m.Published("O", HostType::ohaPowerPoint);
  ASSERT_EQ(published->slides.size(), 2u);
  for (std::size_t i = 0; i < 2; ++i) {
    SCOPED_TRACE(i);
    const auto& slide = *published->slides[i];
    EXPECT_TRUE(slide.shapes.empty());
    EXPECT_EQ(slide.layout, 12);
    EXPECT_FALSE(slide.follow_master_background);
    EXPECT_EQ(slide.background_picture, m.path + std::to_string(i + 1) + ".jpg");
  }
  EXPECT_EQ(m.model->slides[1]->shapes.size(), 2u) << "the user's presentation keeps its shapes";
  EXPECT_EQ(m.site.host->Documents().size(), 1u) << "the copy is closed";
  EXPECT_EQ(m.site.host->Active(), m.model);
  EXPECT_TRUE(m.Leftovers().empty()) << m.Leftovers().front();
}

TEST(DocumentSave, PublishedDocReplacesItsRowAndLogsAMissingFile) {
  Managed m(HostType::ohaWord, "W");
  const std::string file = m.site.cache + "x.bin";
  for (const char* content : {"first", "second"}) {
    foundation::testing::WriteAll(file, content);
    m.wf.Saving.SavePublishedDoc(file, "P");
  }
  EXPECT_EQ(m.PublishedTypes(), (std::vector<std::string>{"P"}));
  EXPECT_EQ((*m.site.tdm).cacheLookup("select SOURCE from PUBLISHED_DOCS where DOC_NO=120").AsString(), "second");

  m.wf.Saving.SavePublishedDoc(m.site.cache + "missing.pdf", "O");
  EXPECT_NE(m.ExceptLog().find("in SavePublishedDoc with FileName: \"" + m.site.cache + "missing.pdf\""),
            std::string::npos);
  EXPECT_EQ((*m.site.tdm).tblPublishedDocs.State(), data::DataSetState::Browse);
}

TEST(DocumentSave, WebFormIsSavedWithItsFormRecord) {
  Managed m(HostType::ohaWord, "A");
  m.site.Exec("update DOCS set WEB_FORM='Y' where DOC_ID=12");
  (*m.site.tdm).tblDoc.Refresh();
  m.model->revisions = 2;
  EXPECT_TRUE(m.wf.Saving.DocumentSave());
  EXPECT_EQ(m.site.notBuilt, (std::vector<std::string>{"SaveWebForm"}));
  EXPECT_EQ(m.model->revisions, 0);
  EXPECT_TRUE(m.model->saved);
  EXPECT_TRUE(m.PublishedTypes().empty()) << "a web form is published by its own step";
}

}  // namespace
}  // namespace quillorn::workflow
