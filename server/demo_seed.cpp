#include "server/demo_seed.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "server/demo_files.h"

namespace quillorn::server {
namespace {

// The rights columns of Users and GROUPS in the client's order; IS_DELETED,
// which stands among them there, is not a right and is written on its own.
constexpr std::string_view kRightColumns[] = {"P_CREATE",       "P_EDIT",
                                              "P_DELETE",       "P_MOVE",
                                              "P_VIEW",         "P_APPROVE",
                                              "P_REVISE",       "P_CHECKOUT",
                                              "P_PRINT_UNCTRL", "P_ARCHIVE",
                                              "P_ADMIN",        "P_CONTENT",
                                              "P_EXPORT",       "P_TEMPLATE",
                                              "P_FVIEW",        "P_FCREATE",
                                              "P_FEDIT",        "P_FDELETE",
                                              "P_FMOVE",        "P_FARCHIVE",
                                              "P_LIBRARY",      "P_CHANGE_PERMISSION"};

std::string RightsColumnDefs() {
  std::string defs;
  for (std::string_view column : kRightColumns) defs += ", " + std::string(column) + " CHAR(1)";
  return defs;
}

// The server's side of the tables the client fetches and commits. Column names
// follow the client's cache so that a fetched row lands field by field; the
// rights procedures and VIEW_DOC are the catalogue's own rewrites over these.
std::vector<std::string> Schema() {
  const std::string rights = RightsColumnDefs();
  return {
      "CREATE TABLE DOCS (DOC_ID INTEGER PRIMARY KEY, DOC_NO INTEGER, SEQ INTEGER, DOC_NAME VARCHAR(512), "
      "VER VARCHAR(10), VER_DATE DATETIME, DOC_TYPE_ID INTEGER, STATUS CHAR(1), STATUS_DATE DATETIME, "
      "STATUS_BY INTEGER, NEXT_REVIEW DATE, CREATED_DATE DATE, CREATED_BY INTEGER, APPROVED_BY INTEGER, "
      "APPROVED_DATE DATETIME, NOTES BLOB, IS_CURRENT CHAR(1), IS_LATEST CHAR(1), IS_COMPLIENT CHAR(1), "
      "PUBLISH_PRIVATE CHAR(1), PUBLISH_PUBLIC CHAR(1), PUBLISH_UNPROTECTED CHAR(1), REVIEW_INTERVAL "
      "INTEGER, "
      "APPROVAL_BY INTEGER, FILE_TYPE INTEGER, FRAMEWORK INTEGER, FRAMEWORK_NAME VARCHAR(30), TEMPLATE_ID "
      "INTEGER, "
      "DOC_NO_EXT VARCHAR(15), FILE_EXT VARCHAR(6), WEB_FORM CHAR(1), KEYWORDS VARCHAR(512), "
      "LAST_PUBLISHED DATETIME, DOC_PATH VARCHAR(2048), SOURCE BLOB)",
      "CREATE TABLE Users (USER_ID INTEGER PRIMARY KEY, LOGIN VARCHAR(31), GIVEN_NAMES VARCHAR(40), "
      "SURNAME VARCHAR(20), DESIGNATION VARCHAR(20), EMAIL VARCHAR(100)" +
          rights +
          ", IS_DELETED CHAR(1), IS_WEB_USER CHAR(1), WEB_PASSWORD VARCHAR(16), ATTACHMENT_ID INTEGER)",
      "CREATE TABLE GROUPS (GROUP_ID INTEGER PRIMARY KEY, GROUP_NAME VARCHAR(30)" + rights +
          ", IS_DELETED CHAR(1))",
      "CREATE TABLE USER_GROUP_LINKS (USER_ID INTEGER, GROUP_ID INTEGER)",
      "CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))",
      "CREATE VIEW GET_DOC_FIELDS AS SELECT CODE, VAL FROM CODES WHERE D_TYPE = 'DOC_FIELD'",
      "CREATE TABLE FORMS (DOC_NO INTEGER, TEMPLATE_NAME VARCHAR(30), HTML_FORM BLOB, LAST_EXTRACTED "
      "DATETIME, "
      "FIELDS_USED TEXT, REGISTER_NAME VARCHAR(100))",
      "CREATE TABLE PUBLISHED_DOCS (DOC_NO INTEGER NOT NULL, SOURCE_TYPE CHAR(10) NOT NULL, DOC_ID INTEGER, "
      "LAST_GENERATED DATETIME, SOURCE BLOB)",
      "CREATE TABLE ORGANISATION (LOGO BLOB)",
  };
}

// SQL literals. Text gets its quotes doubled; a null pointer is NULL.
std::string Text(const char* text) {
  if (text == nullptr) return "NULL";
  std::string out = "'";
  for (const char* c = text; *c != '\0'; ++c) out += *c == '\'' ? std::string("''") : std::string(1, *c);
  return out + "'";
}
std::string Text(std::string_view text) {
  return Text(std::string(text).c_str());
}

std::string Blob(std::string_view bytes) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out = "X'";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += kHex[byte >> 4];
    out += kHex[byte & 0x0F];
  }
  return out + "'";
}

// A user id where 0 means nobody yet.
std::string UserOrNull(int id) {
  return id == 0 ? "NULL" : std::to_string(id);
}

// Rights are written as the words of their columns: "view print_unctrl" for
// P_VIEW and P_PRINT_UNCTRL, so that a row reads as what its holder may do.
bool Granted(std::string_view rights, std::string_view column) {
  const std::string_view word = column.substr(2);  // past "P_"
  std::size_t at = 0;
  while (at < rights.size()) {
    const std::size_t end = std::min(rights.find(' ', at), rights.size());
    const std::string_view token = rights.substr(at, end - at);
    if (token.size() == word.size()) {
      bool same = true;
      for (std::size_t i = 0; i < word.size() && same; ++i) {
        same = (token[i] >= 'a' && token[i] <= 'z' ? static_cast<char>(token[i] - 'a' + 'A') : token[i]) ==
               word[i];
      }
      if (same) return true;
    }
    at = end + 1;
  }
  return false;
}

std::string RightsColumns() {
  std::string names;
  for (std::string_view column : kRightColumns) names += ", " + std::string(column);
  return names;
}

std::string RightsValues(std::string_view rights) {
  std::string values;
  for (std::string_view column : kRightColumns) values += Granted(rights, column) ? ", 'Y'" : ", 'N'";
  return values;
}

constexpr std::string_view kAllDocumentRights =
    "create edit delete move view approve revise checkout print_unctrl export change_permission";

struct DemoGroup {
  int id;
  const char* name;
  std::string_view rights;
};

constexpr DemoGroup kGroups[] = {
    {1, "Authors", "create edit view revise checkout print_unctrl export fview"},
    {2, "Readers", "view fview"},
    {3, "Approvers", "view approve print_unctrl fview"},
    {4, "Document Control",
     "create edit delete move view approve revise checkout print_unctrl archive admin content export "
     "template "
     "fview fcreate fedit fdelete fmove farchive library change_permission"},
    {5, "Health and Safety Committee", "create edit view revise print_unctrl fview fcreate"},
    {6, "Template Editors", "view template fview fedit"},
};

struct DemoUser {
  int id;
  const char* login;  // stored in upper case, as the client asks for it
  const char* givenNames;
  const char* surname;
  const char* designation;
  const char* email;
  std::string_view rights;    // the user's own, beside those of the groups
  std::array<int, 2> groups;  // 0: none
  const char* deleted = "N";
  const char* webUser = "N";
};

const DemoUser kUsers[] = {
    // The author may do everything a document allows; the reader may look.
    {1, "JSMITH", "Jane", "Smith", "Quality Manager", "jane.smith@example.org", kAllDocumentRights, {1}},
    {2, "PBROWN", "Peter", "Brown", "Technician", "peter.brown@example.org", "view", {2}},
    // Approves through her group alone: her own row says view.
    {3, "MOKAFOR", "Maria", "Okafor", "Operations Director", "maria.okafor@example.org", "view", {3}},
    {4, "DLINDQVIST", "David", "Lindqvist", "H&S Officer", "david.lindqvist@example.org", "", {5}},
    {5, "ACHEN", "Amy", "Chen", "Document Controller", "amy.chen@example.org", "", {4}},
    {6, "RPATEL", "Raj", "Patel", "Process Engineer", "raj.patel@example.org", "", {1}},
    {7, "SGARCIA", "Sofia", "Garcia", "Laboratory Analyst", "sofia.garcia@example.org", "", {2}},
    {8, "TNGUYEN", "Tom", "Nguyen", "Training Coordinator", "tom.nguyen@example.org", "", {1, 6}},
    {9, "EKOWALSKI", "Ewa", "Kowalski", "HR Advisor", "ewa.kowalski@example.org", "", {2, 5}},
    // Approves through one of his two groups; the other may write but not approve.
    {10, "BMURRAY", "Ben", "Murray", "Site Manager", "ben.murray@example.org", "view print_unctrl", {3, 5}},
    {11, "LHUGHES", "Lucy", "Hughes", "Internal Auditor", "lucy.hughes@example.org", "", {3}, "Y"},
    {12, "KADAMS", "Kevin", "Adams", "Contractor", "kevin.adams@example.org", "view", {}},
    // The intranet portal signs its forms in under this login; the client never lists it.
    {13, "PORTAL", "Intranet", "Portal", nullptr, "intranet@example.org", "view", {}, "N", "Y"},
};

struct DemoCode {
  const char* type;
  const char* code;
  const char* val;
};

constexpr DemoCode kCodes[] = {
    {"REV_FIELD", "DATE_FORMAT", "dd/mm/yyyy"},
    {"REV_FIELD", "USER_NAME_FORMAT", "1"},
    {"REV_FIELD", "LOCATION_PREFIX", "Quillorn"},
    {"REV_FIELD_LABEL", "cmsDocNumber", "Document No:"},
    {"REV_FIELD_LABEL", "cmsRevision", "Revision:"},
    {"REV_FIELD_LABEL", "cmsRevisionDate", "Revision date:"},
    {"REV_FIELD_LABEL", "cmsApprovedBy", "Approved by:"},
    {"DOC_TYPE", "1", "Policy"},
    {"DOC_TYPE", "2", "Procedure"},
    {"DOC_TYPE", "3", "Register"},
    {"DOC_TYPE", "4", "Presentation"},
    {"DOC_TYPE", "5", "Form"},
    {"DOC_TYPE", "6", "Minutes"},
    {"DOC_TYPE", "7", "Template"},
    {"DOC_TYPE", "8", "Plan"},
    {"DOC_TYPE", "9", "Leaflet"},
    // A year between reviews unless the framework says otherwise; health and
    // safety documents every two years (interval 24 months).
    {"APP_OPTION", "DEF_REVIEW", "12"},
    {"FW2", "DEF_REVIEW", "24"},
    {"WEB_SERVER", "URL", "http://127.0.0.1:8090/portal/"},
    {"WEB_SERVER", "INFO_PORT", "8091"},
    {"TEMPLATE_SETTNG", "KEEP_PG_FORMAT:1014", "N"},
    {"DOC_FIELD", "Department", "Quality"},
    {"DOC_FIELD", "Site", "Head Office"},
    {"DOC_FIELD", "Company", "Quillorn Demo Engineering Ltd"},
    {"DOC_FIELD", "Address", "1 Foundry Lane, Millbrook"},
    {"DOC_FIELD", "Phone", "+44 1632 960000"},
};

// One DOCS row. The defaults are those of the first five documents, which the
// simulator's stories rely on; later documents say where they differ.
struct DemoDoc {
  std::int32_t id;
  const char* name;
  const char* number;  // DOC_NO_EXT, as people quote it
  const char* version;
  const char* status;
  int docType;
  int fileType;  // 1 Word, 2 PowerPoint, 3 Excel, 5 Publisher
  const char* ext;
  std::int32_t docNo = 0;  // 0: the document's first revision, numbered like its id
  int seq = 1;
  const char* verDate = "2024-01-15";
  const char* statusDate = "2024-01-15";
  int statusBy = 1;  // 0 is the system itself
  const char* nextReview = "2025-01-15";
  const char* createdDate = "2023-06-01";
  int createdBy = 1;
  int approvedBy = 0;
  const char* approvedDate = nullptr;
  const char* current = "Y";
  const char* latest = "Y";
  const char* publishPrivate = "N";
  const char* publishPublic = "N";
  int reviewInterval = 12;
  int approvalBy = 0;
  int framework = 1;
  const char* frameworkName = "Management System";
  int templateId = 0;
  const char* webForm = "N";
  const char* keywords = nullptr;
  const char* lastPublished = nullptr;
  const char* docPath = "Management System\\Quality";
  bool templateFile = false;  // the letterhead's own file rides in SOURCE
};

// clang-format off
const DemoDoc kDocs[] = {
    {.id = kDemoPolicyId, .name = "Quality Policy", .number = "QP-001", .version = "1", .status = "N", .docType = 1,
     .fileType = 1, .ext = ".docx"},
    {.id = kDemoProcedureId, .name = "Safety Procedure", .number = "SP-002", .version = "3", .status = "A",
     .docType = 2, .fileType = 1, .ext = ".docx", .approvedBy = 1, .approvedDate = "2024-02-01"},
    {.id = kDemoRegisterId, .name = "Training Register", .number = "TR-003", .version = "2", .status = "E",
     .docType = 3, .fileType = 3, .ext = ".xlsx"},
    {.id = kDemoSlidesId, .name = "Induction Slides", .number = "IS-004", .version = "1", .status = "P", .docType = 4,
     .fileType = 2, .ext = ".pptx"},
    {.id = kDemoWorkInstructionId, .name = "Work Instruction", .number = "WI-005", .version = "2", .status = "E",
     .docType = 2, .fileType = 1, .ext = ".docx"},

    {.id = 1006, .name = "Supplier Evaluation", .number = "SE-006", .version = "4", .status = "W", .docType = 3,
     .fileType = 3, .ext = ".xlsx", .statusDate = "2024-03-11 14:20:00", .statusBy = 6, .createdDate = "2021-05-17",
     .createdBy = 6, .approvalBy = kDemoApproverId, .keywords = "suppliers purchasing evaluation"},
    {.id = 1007, .name = "Calibration Procedure", .number = "CP-007", .version = "2", .status = "R", .docType = 2,
     .fileType = 1, .ext = ".docx", .verDate = "2023-04-28", .statusDate = "2024-03-31", .statusBy = 0,
     .nextReview = "2024-04-28", .createdBy = 6, .approvedBy = 3, .approvedDate = "2023-04-28 16:05:00",
     .templateId = kDemoTemplateId, .lastPublished = "2023-04-28 16:06:00"},
    {.id = 1008, .name = "Management Review Minutes", .number = "MR-008", .version = "1", .status = "D", .docType = 6,
     .fileType = 1, .ext = ".docx", .statusDate = "2024-02-19", .statusBy = 5, .current = "N", .latest = "N"},
    {.id = 1009, .name = "Emergency Evacuation Plan", .number = "EP-009", .version = "5", .status = "!", .docType = 8,
     .fileType = 2, .ext = ".pptx", .verDate = "2021-09-30", .statusDate = "2023-10-01", .statusBy = 0,
     .nextReview = "2023-09-30", .createdDate = "2015-02-09", .createdBy = 4, .approvedBy = 10,
     .approvedDate = "2021-09-30 11:00:00", .reviewInterval = 24, .framework = 2,
     .frameworkName = "Health and Safety", .keywords = "fire evacuation assembly point",
     .docPath = "Health and Safety\\Plans"},
    {.id = 1010, .name = "Maintenance Schedule", .number = "MS-010", .version = "3", .status = "C", .docType = 3,
     .fileType = 3, .ext = ".xlsx", .statusDate = "2024-03-12 08:45:00", .statusBy = 6, .createdBy = 6},
    {.id = 1011, .name = "Chemical Handling Procedure", .number = "CH-011", .version = "2", .status = "A",
     .docType = 2, .fileType = 1, .ext = ".docx", .verDate = "2023-11-20", .statusDate = "2023-11-20", .statusBy = 10,
     .nextReview = "2025-11-20", .createdDate = "2019-08-02", .createdBy = 4, .approvedBy = 10,
     .approvedDate = "2023-11-20 10:30:00", .publishPrivate = "Y", .reviewInterval = 24, .framework = 2,
     .frameworkName = "Health and Safety", .templateId = kDemoTemplateId,
     .keywords = "chemicals COSHH storage spillage", .lastPublished = "2023-11-20 10:31:00",
     .docPath = "Health and Safety\\Procedures"},
    {.id = kDemoWebFormId, .name = "Incident Report Form", .number = "IR-012", .version = "1", .status = "A",
     .docType = 5, .fileType = 1, .ext = ".docx", .verDate = "2024-03-04", .statusDate = "2024-03-04 09:15:00",
     .statusBy = 3, .createdDate = "2024-02-26", .createdBy = 4, .approvedBy = 3,
     .approvedDate = "2024-03-04 09:15:00", .publishPrivate = "Y", .reviewInterval = 24, .framework = 2,
     .frameworkName = "Health and Safety", .templateId = kDemoTemplateId, .webForm = "Y",
     .keywords = "incident accident near miss", .lastPublished = "2024-03-04 09:15:00",
     .docPath = "Health and Safety\\Forms"},
    // Filed by its path alone, outside the frameworks.
    {.id = kDemoLeafletId, .name = "Visitor Welcome Leaflet", .number = "VL-013", .version = "2", .status = "A",
     .docType = 9, .fileType = 5, .ext = ".pub", .verDate = "2023-07-03", .statusDate = "2023-07-03", .statusBy = 3,
     .nextReview = "2024-07-03", .createdDate = "2022-06-14", .createdBy = 5, .approvedBy = 3,
     .approvedDate = "2023-07-03 15:40:00", .publishPublic = "Y", .framework = -1, .frameworkName = nullptr,
     .lastPublished = "2023-07-03 15:41:00", .docPath = "Reception\\Leaflets"},
    {.id = kDemoTemplateId, .name = "Letterhead", .number = "TPL-014", .version = "2", .status = "A", .docType = 7,
     .fileType = 1, .ext = ".docx", .seq = 2, .verDate = "2023-09-01", .statusDate = "2023-09-01", .statusBy = 5,
     .nextReview = nullptr, .createdDate = "2020-01-06", .createdBy = 8, .approvedBy = 1,
     .approvedDate = "2023-09-01 12:00:00", .reviewInterval = 0, .framework = -2, .frameworkName = "Global Templates",
     .docPath = "Global Templates", .templateFile = true},
    // The third revision of the chemical procedure was started and given up:
    // the second stays the current one.
    {.id = 1015, .name = "Chemical Handling Procedure", .number = "CH-011", .version = "3", .status = "U",
     .docType = 2, .fileType = 1, .ext = ".docx", .docNo = 1011, .seq = 2, .verDate = "2024-01-22",
     .statusDate = "2024-02-05", .statusBy = 4, .nextReview = nullptr, .createdDate = "2024-01-22", .createdBy = 4,
     .current = "N", .latest = "N", .reviewInterval = 24, .framework = 2, .frameworkName = "Health and Safety",
     .templateId = kDemoTemplateId, .docPath = "Health and Safety\\Procedures"},
};
// clang-format on

std::string DocInsert(const DemoDoc& d) {
  return "INSERT INTO DOCS (DOC_ID, DOC_NO, SEQ, DOC_NAME, VER, VER_DATE, DOC_TYPE_ID, STATUS, STATUS_DATE, "
         "STATUS_BY, NEXT_REVIEW, CREATED_DATE, CREATED_BY, APPROVED_BY, APPROVED_DATE, IS_CURRENT, "
         "IS_LATEST, "
         "IS_COMPLIENT, PUBLISH_PRIVATE, PUBLISH_PUBLIC, PUBLISH_UNPROTECTED, REVIEW_INTERVAL, APPROVAL_BY, "
         "FILE_TYPE, FRAMEWORK, FRAMEWORK_NAME, TEMPLATE_ID, DOC_NO_EXT, FILE_EXT, WEB_FORM, KEYWORDS, "
         "LAST_PUBLISHED, DOC_PATH, SOURCE) VALUES (" +
         std::to_string(d.id) + ", " + std::to_string(d.docNo == 0 ? d.id : d.docNo) + ", " +
         std::to_string(d.seq) + ", " + Text(d.name) + ", " + Text(d.version) + ", " + Text(d.verDate) +
         ", " + std::to_string(d.docType) + ", " + Text(d.status) + ", " + Text(d.statusDate) + ", " +
         std::to_string(d.statusBy) + ", " + Text(d.nextReview) + ", " + Text(d.createdDate) + ", " +
         std::to_string(d.createdBy) + ", " + UserOrNull(d.approvedBy) + ", " + Text(d.approvedDate) + ", " +
         Text(d.current) + ", " + Text(d.latest) + ", 'Y', " + Text(d.publishPrivate) + ", " +
         Text(d.publishPublic) + ", 'N', " + std::to_string(d.reviewInterval) + ", " +
         UserOrNull(d.approvalBy) + ", " + std::to_string(d.fileType) + ", " + std::to_string(d.framework) +
         ", " + Text(d.frameworkName) + ", " +
         (d.templateId == 0 ? std::string("NULL") : std::to_string(d.templateId)) + ", " + Text(d.number) +
         ", " + Text(d.ext) + ", " + Text(d.webForm) + ", " + Text(d.keywords) + ", " +
         Text(d.lastPublished) + ", " + Text(d.docPath) + ", " +
         (d.templateFile ? Blob(DemoTemplateDocument()) : std::string("NULL")) + ")";
}

std::string UserInsert(const DemoUser& u) {
  return "INSERT INTO Users (USER_ID, LOGIN, GIVEN_NAMES, SURNAME, DESIGNATION, EMAIL" + RightsColumns() +
         ", IS_DELETED, IS_WEB_USER, WEB_PASSWORD) VALUES (" + std::to_string(u.id) + ", " + Text(u.login) +
         ", " + Text(u.givenNames) + ", " + Text(u.surname) + ", " + Text(u.designation) + ", " +
         Text(u.email) + RightsValues(u.rights) + ", " + Text(u.deleted) + ", " + Text(u.webUser) + ", " +
         Text(kDemoPassword) + ")";
}

std::string GroupInsert(const DemoGroup& g) {
  return "INSERT INTO GROUPS (GROUP_ID, GROUP_NAME" + RightsColumns() + ", IS_DELETED) VALUES (" +
         std::to_string(g.id) + ", " + Text(g.name) + RightsValues(g.rights) + ", 'N')";
}

// The web form's record as the save of the form leaves it, its fields one
// "name=caption" line each.
std::string WebFormInsert() {
  std::string fields;
  for (const DemoWebField& field : kDemoWebFormFields) {
    fields += std::string(field.Name) + "=" + std::string(field.FriendlyName) + "\r\n";
  }
  const std::string page = "form_" + std::to_string(kDemoWebFormId) + ".htm";
  return "INSERT INTO FORMS VALUES (" + std::to_string(kDemoWebFormId) + ", " + Text(page) + ", " +
         Blob(DemoWebFormPackage(page, "Incident Report Form")) + ", '2024-03-04 09:15:00', " + Text(fields) +
         ", 'Incident Report Register')";
}

}  // namespace

bool SeedDemo(ServerStore& store) {
  const StoreRows existing =
      store.Select("SELECT name FROM sqlite_master WHERE type='table' AND name='DOCS'");
  if (!existing.Rows.empty()) return false;
  for (const std::string& sql : Schema()) store.Execute(sql);
  for (const DemoGroup& group : kGroups) store.Execute(GroupInsert(group));
  for (const DemoUser& user : kUsers) {
    store.Execute(UserInsert(user));
    for (const int group : user.groups) {
      if (group == 0) continue;
      store.Execute("INSERT INTO USER_GROUP_LINKS VALUES (" + std::to_string(user.id) + ", " +
                    std::to_string(group) + ")");
    }
  }
  for (const DemoCode& code : kCodes) {
    store.Execute("INSERT INTO CODES VALUES (" + Text(code.type) + ", " + Text(code.code) + ", " +
                  Text(code.val) + ")");
  }
  for (const DemoDoc& doc : kDocs) store.Execute(DocInsert(doc));
  store.Execute(WebFormInsert());
  store.Execute("INSERT INTO ORGANISATION VALUES (" + Blob(DemoLogoPng()) + ")");
  return true;
}

}  // namespace quillorn::server
