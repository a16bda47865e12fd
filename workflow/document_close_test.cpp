#include "workflow/document_close.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "data/fetching.h"
#include "data/tdm.h"
#include "hostsim/doc_file.h"
#include "platform/scripted_prompts.h"
#include "transport/rpc_result.h"
#include "workflow/workflow.h"
#include "workflow/workflow_fixture_for_test.h"

namespace quillorn::workflow {
namespace {

using platform::HostType;
using platform::MessageAnswer;
using platform::MessageKind;
using platform::ModalResult;
using testing::CachedDoc;
using testing::FakeSite;
using testing::FilesRow;

const char* Extension(HostType kind) {
  switch (kind) {
    case HostType::ohaWord: return ".docx";
    case HostType::ohaExcel: return ".xlsx";
    case HostType::ohaPowerPoint: return ".pptx";
    case HostType::ohaPublisher: return ".pub";
  }
  return "";
}

// `count` managed documents open in one host, the last one active and the
// tables on its rows, as tracking leaves them.
struct Open {
  Open(HostType kind, int count, FilesRow row = {}) : site(kind) {
    for (int id = 1; id <= count; ++id) {
      const std::string name = "Doc" + std::to_string(id) + Extension(kind);
      site.CacheDocument(CachedDoc{.DOC_ID = id, .DOC_NO = id * 10, .DOC_NAME = "Policy " + std::to_string(id), .STATUS = "W"}, 3);
      row.DOC_ID = id;
      row.FILENAME = site.cache + name;
      row.INIT = true;
      row.IGNORE = row.IGNORE.value_or(false);
      row.SESSION_ID = site.sessionID;
      site.Announce(row);
      models.push_back(site.Model(site.OpenDocument(name, std::to_string(id))));
      active = row.FILENAME;
    }
    data::OpenFiles((*site.tdm));
    EXPECT_TRUE((*site.tdm).tblFiles.Locate("FILENAME", Variant(active)));
    EXPECT_TRUE(data::OpenDoc(*site.tdm, count, data::Fetch::IfNeeded, data::Wait::No));
  }
  bool Called(const std::string& call) const {
    return std::find(site.calls.begin(), site.calls.end(), call) != site.calls.end();
  }

  FakeSite site;
  Workflow wf{site};
  std::vector<std::shared_ptr<hostsim::DocumentModel>> models;
  std::string active;
};

TEST(DocumentCloseEvent, CancelKeepsTheDocumentAndNoExitRuns) {
  struct Case {
    bool checkedOut;
    const char* question;
  };
  for (const Case& c : std::vector<Case>{
           {false, "Do you want to save the changes to \"Policy 1\"?"},
           {true, "Do you want to save the changes to \"Policy 1\"?\r\r(The document will not be checked-in at this point)"}}) {
    SCOPED_TRACE(c.checkedOut);
    Open o(HostType::ohaWord, 1, FilesRow{.CHECKED_OUT = c.checkedOut});
    o.models[0]->MarkChanged();
    o.site.prompts.Answer(MessageAnswer{.answer = ModalResult::mrCancel, .text = c.question, .kind = MessageKind::Warning});

    EXPECT_TRUE(o.wf.Closing.DocumentCloseEvent());
    ASSERT_EQ(o.site.prompts.Shown().size(), 1u);
    EXPECT_EQ(o.site.prompts.Shown()[0].buttons, platform::Buttons::YesNoCancel);
    EXPECT_EQ(o.site.prompts.Beeps(), (std::vector<unsigned>{0x20}));
    EXPECT_FALSE(o.site.host->HasQuit());
    EXPECT_FALSE(o.site.internalClose.IsSet());
    EXPECT_TRUE(o.site.calls.empty());
    EXPECT_FALSE(o.models[0]->saved);
    EXPECT_EQ((*o.site.tdm).Context().ProcName, "DocumentCloseEvent");
  }
}

TEST(DocumentCloseEvent, WordWithTwoDocumentsAnswersTheQuestionWithoutExit) {
  struct Case {
    ModalResult answer;
    const char* statusAfter;
  };
  for (const Case& c : std::vector<Case>{{ModalResult::mrYes, "E"}, {ModalResult::mrNo, "W"}}) {
    SCOPED_TRACE(platform::ModalResultName(c.answer));
    Open o(HostType::ohaWord, 2);
    o.models[1]->MarkChanged();
    o.site.prompts.Answer(c.answer);

    EXPECT_FALSE(o.wf.Closing.DocumentCloseEvent());
    EXPECT_TRUE(o.models[1]->saved) << "saved, or told that it need not be";
    EXPECT_EQ((*o.site.tdm).cacheLookup("select STATUS from DOCS where DOC_ID=2").AsString(), c.statusAfter);
    EXPECT_EQ(o.site.host->Documents().size(), 2u) << "the host closes it, not the add-in";
    EXPECT_FALSE(o.site.host->HasQuit());
    EXPECT_FALSE(o.site.internalClose.IsSet());
  }
}

TEST(DocumentCloseEvent, LastReadOnlyDocumentClosesWithoutPromptAndEndsWordAndExcel) {
  {
    Open o(HostType::ohaWord, 1, FilesRow{.READ_ONLY = true});
    o.models[0]->MarkChanged();
    EXPECT_FALSE(o.wf.Closing.DocumentCloseEvent());
    EXPECT_TRUE(o.site.prompts.Shown().empty());
    EXPECT_TRUE(o.site.host->HasQuit());
    EXPECT_TRUE(o.Called("DisconnectApplication"));
    EXPECT_TRUE(o.site.internalClose.IsSet()) << "Word's own closing events from here on are left alone";
  }
  {
    Open o(HostType::ohaExcel, 1, FilesRow{.READ_ONLY = true});
    o.models[0]->MarkChanged();
    EXPECT_FALSE(o.wf.Closing.DocumentCloseEvent());
    EXPECT_TRUE(o.site.prompts.Shown().empty());
    EXPECT_TRUE(o.site.host->Documents().empty());
    EXPECT_FALSE(o.site.host->HasQuit()) << "not inside the workbook's own events";
    EXPECT_TRUE(o.site.shutdownTimer.Enabled());
    EXPECT_FALSE(o.site.internalClose.IsSet());
    EXPECT_TRUE(o.site.Traced("ExitDocument", "Workbooks.Count = 1"));
  }
}

TEST(DocumentCloseEvent, IgnoredRowsAndSavedDocumentsAreNotAsked) {
  for (const FilesRow& row : {FilesRow{.IGNORE = true}, FilesRow{.OLE_IGNORE = true}}) {
    Open o(HostType::ohaWord, 1, row);
    o.models[0]->MarkChanged();
    EXPECT_FALSE(o.wf.Closing.DocumentCloseEvent());
    EXPECT_TRUE(o.site.prompts.Shown().empty());
    EXPECT_FALSE(o.site.host->HasQuit()) << "an ignored document is the host's business";
  }
  Open o(HostType::ohaExcel, 2);
  EXPECT_FALSE(o.wf.Closing.DocumentCloseEvent());
  EXPECT_TRUE(o.site.prompts.Shown().empty());
}

TEST(DocumentCloseEvent, LastPresentationEndsPowerPointOnlyIn2007) {
  for (int version : {2007, 2010, 2016}) {
    SCOPED_TRACE(version);
    Open o(HostType::ohaPowerPoint, 1);
    o.site.officeVersion = version;
    o.models[0]->MarkChanged();
    o.site.prompts.Answer(ModalResult::mrNo);
    EXPECT_FALSE(o.wf.Closing.DocumentCloseEvent());
    EXPECT_TRUE(o.models[0]->saved);
    EXPECT_EQ(o.site.shutdownTimer.Enabled(), version == 2007);
    EXPECT_EQ(o.site.host->Documents().empty(), version == 2007);
  }
}

TEST(ExitDocument, FlagsAndStepsPerHostAndCount) {
  struct Case {
    HostType kind;
    int count;
    bool internalCloseAfter;
    bool quit;
    bool timer;
    std::size_t openAfter;
    bool paneCalls;
  };
  const std::vector<Case> cases = {
      {HostType::ohaWord, 2, false, false, false, 1, true},
      {HostType::ohaWord, 1, true, true, false, 0, false},
      {HostType::ohaExcel, 2, false, false, false, 1, true},
      {HostType::ohaExcel, 1, false, false, true, 0, false},
      // PowerPoint keeps the flag after a presentation that was not the last.
      {HostType::ohaPowerPoint, 2, true, false, false, 1, true},
      {HostType::ohaPowerPoint, 1, false, false, true, 0, false},
      {HostType::ohaPublisher, 2, true, true, false, 0, true},
      {HostType::ohaPublisher, 1, true, true, false, 0, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(hostsim::HostKindName(c.kind)) + " " + std::to_string(c.count));
    Open o(c.kind, c.count);
    o.wf.Closing.ExitDocument();
    EXPECT_EQ(o.site.internalClose.IsSet(), c.internalCloseAfter);
    EXPECT_EQ(o.site.host->HasQuit(), c.quit);
    EXPECT_EQ(o.site.shutdownTimer.Enabled(), c.timer);
    EXPECT_EQ(o.site.host->Documents().size(), c.openAfter);
    EXPECT_EQ(o.Called("ShowQuillornTabs false") && o.Called("HideQuillornPane") &&
                  o.Called("SetQuillornRibbonButtonStates"),
              c.paneCalls);
    if (c.openAfter == 1) {
      EXPECT_EQ(o.site.host->Documents()[0], o.models[0]) << "the active one went";
    }
    EXPECT_TRUE(o.site.Traced("ExitDocument", ""));
  }
}

TEST(ExitDocument, ShutdownTimerQuitsExcelAndPowerPointOnly) {
  struct Case {
    HostType kind;
    bool quits;
  };
  for (const Case& c : std::vector<Case>{{HostType::ohaExcel, true}, {HostType::ohaPowerPoint, true}, {HostType::ohaWord, false}}) {
    SCOPED_TRACE(hostsim::HostKindName(c.kind));
    Open o(c.kind, 1);
    o.site.shutdownTimer.SetEnabled(true);
    o.wf.Closing.ShutdownTimerTimer();
    EXPECT_FALSE(o.site.shutdownTimer.Enabled());
    EXPECT_EQ(o.site.host->HasQuit(), c.quits);
    EXPECT_EQ(o.Called("DisconnectApplication"), c.quits);
  }
}

constexpr char kWaitQuestion[] =
    "Your document is being saved to Quillorn.\rResponse from the server is slow or the document is quite large.\r"
    "If you do not want to wait now, Office will save the document to Quillorn next time\ryou use it.\r\r"
    "Wait a bit longer?";

TEST(DoWaitForCompletion, AsksWhileCallsAreUnderWayAndStopsOnNo) {
  Open o(HostType::ohaWord, 1);
  data::Tdm& dm = (*o.site.tdm);

  // Offline nothing is waited for.
  o.wf.Saving.DoWaitForCompletion();
  EXPECT_FALSE(o.site.Traced("DoWaitForCompletion", ""));

  dm.Connection.mIsServerReachable = true;
  o.wf.Saving.DoWaitForCompletion();
  EXPECT_TRUE(o.site.Traced("DoWaitForCompletion", "")) << "nothing under way: finished at once";
  EXPECT_TRUE(o.site.prompts.Shown().empty());

  // A call that can't finish while the loop isn't pumped, and no time to wait.
  dm.Settings.RetryTimeOut = 0;
  dm.Connection.ClientModule.Prepare("youthere");
  dm.Connection.ClientModule.Call(std::make_shared<transport::TRpcResult>());
  o.site.prompts.Answer(MessageAnswer{.answer = ModalResult::mrYes, .text = kWaitQuestion, .kind = MessageKind::Confirmation});
  o.site.prompts.Answer(MessageAnswer{.answer = ModalResult::mrNo, .text = kWaitQuestion});
  o.wf.Saving.DoWaitForCompletion();
  EXPECT_EQ(o.site.prompts.Shown().size(), 2u);
  EXPECT_EQ(o.site.prompts.Shown()[0].buttons, platform::Buttons::YesNo);
  EXPECT_EQ(o.site.prompts.Beeps(), (std::vector<unsigned>{0x20, 0x20}));
  EXPECT_EQ(o.site.prompts.Unanswered(), 0u);
  dm.Connection.ClientModule.CancelCalls();
}

}  // namespace
}  // namespace quillorn::workflow
