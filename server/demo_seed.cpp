#include "server/demo_seed.h"

#include <string>

namespace quillorn::server {
namespace {

// The server's side of the tables the client fetches and commits. Column names
// follow the client's cache so that a fetched row lands field by field; the
// rights procedures and VIEW_DOC are the catalogue's own rewrites over these.
constexpr const char* kSchema[] = {
    "CREATE TABLE DOCS (DOC_ID INTEGER PRIMARY KEY, DOC_NO INTEGER, SEQ INTEGER, DOC_NAME VARCHAR(512), "
    "VER VARCHAR(10), VER_DATE DATETIME, DOC_TYPE_ID INTEGER, STATUS CHAR(1), STATUS_DATE DATETIME, "
    "STATUS_BY INTEGER, NEXT_REVIEW DATE, CREATED_DATE DATE, CREATED_BY INTEGER, APPROVED_BY INTEGER, "
    "APPROVED_DATE DATETIME, NOTES BLOB, IS_CURRENT CHAR(1), IS_LATEST CHAR(1), IS_COMPLIENT CHAR(1), "
    "PUBLISH_PRIVATE CHAR(1), PUBLISH_PUBLIC CHAR(1), PUBLISH_UNPROTECTED CHAR(1), REVIEW_INTERVAL INTEGER, "
    "APPROVAL_BY INTEGER, FILE_TYPE INTEGER, FRAMEWORK INTEGER, FRAMEWORK_NAME VARCHAR(30), TEMPLATE_ID INTEGER, "
    "DOC_NO_EXT VARCHAR(15), FILE_EXT VARCHAR(6), WEB_FORM CHAR(1), KEYWORDS VARCHAR(512), "
    "LAST_PUBLISHED DATETIME, DOC_PATH VARCHAR(2048), SOURCE BLOB)",
    "CREATE TABLE Users (USER_ID INTEGER PRIMARY KEY, LOGIN VARCHAR(31), GIVEN_NAMES VARCHAR(40), "
    "SURNAME VARCHAR(20), DESIGNATION VARCHAR(20), EMAIL VARCHAR(100), P_CREATE CHAR(1), P_EDIT CHAR(1), "
    "P_DELETE CHAR(1), P_MOVE CHAR(1), P_VIEW CHAR(1), P_APPROVE CHAR(1), P_REVISE CHAR(1), P_CHECKOUT CHAR(1), "
    "P_PRINT_UNCTRL CHAR(1), P_EXPORT CHAR(1), P_CHANGE_PERMISSION CHAR(1), IS_DELETED CHAR(1), "
    "IS_WEB_USER CHAR(1), WEB_PASSWORD VARCHAR(16))",
    "CREATE TABLE GROUPS (GROUP_ID INTEGER PRIMARY KEY, GROUP_NAME VARCHAR(30), P_CREATE CHAR(1), P_EDIT CHAR(1), "
    "P_DELETE CHAR(1), P_MOVE CHAR(1), P_VIEW CHAR(1), P_APPROVE CHAR(1), P_REVISE CHAR(1), P_CHECKOUT CHAR(1), "
    "P_PRINT_UNCTRL CHAR(1), P_EXPORT CHAR(1), P_CHANGE_PERMISSION CHAR(1))",
    "CREATE TABLE USER_GROUP_LINKS (USER_ID INTEGER, GROUP_ID INTEGER)",
    "CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))",
    "CREATE VIEW GET_DOC_FIELDS AS SELECT CODE, VAL FROM CODES WHERE D_TYPE = 'DOC_FIELD'",
    "CREATE TABLE FORMS (DOC_NO INTEGER, TEMPLATE_NAME VARCHAR(30), HTML_FORM BLOB, LAST_EXTRACTED DATETIME, "
    "FIELDS_USED TEXT, REGISTER_NAME VARCHAR(100))",
    "CREATE TABLE PUBLISHED_DOCS (DOC_NO INTEGER NOT NULL, SOURCE_TYPE CHAR(10) NOT NULL, DOC_ID INTEGER, "
    "LAST_GENERATED DATETIME, SOURCE BLOB)",
    "CREATE TABLE ORGANISATION (LOGO BLOB)",
};

constexpr const char* kRows[] = {
    // The author may do everything a document allows; the reader may look and print.
    // Logins are kept in upper case, as the client asks for them.
    "INSERT INTO Users VALUES (1, 'JSMITH', 'Jane', 'Smith', 'Quality Manager', 'jane.smith@example.org', "
    "'Y','Y','Y','Y','Y','Y','Y','Y','Y','Y','Y', 'N', 'N', 'demo')",
    "INSERT INTO Users VALUES (2, 'PBROWN', 'Peter', 'Brown', 'Technician', 'peter.brown@example.org', "
    "'N','N','N','N','Y','N','N','N','N','N','N', 'N', 'N', 'demo')",
    "INSERT INTO GROUPS VALUES (1, 'Authors', 'Y','Y','N','N','Y','N','Y','Y','Y','Y','N')",
    "INSERT INTO GROUPS VALUES (2, 'Readers', 'N','N','N','N','Y','N','N','N','N','N','N')",
    "INSERT INTO USER_GROUP_LINKS VALUES (1, 1)",
    "INSERT INTO USER_GROUP_LINKS VALUES (2, 2)",
    "INSERT INTO CODES VALUES ('REV_FIELD', 'DATE_FORMAT', 'dd/mm/yyyy')",
    "INSERT INTO CODES VALUES ('REV_FIELD', 'USER_NAME_FORMAT', '1')",
    "INSERT INTO CODES VALUES ('REV_FIELD', 'LOCATION_PREFIX', 'Quillorn')",
    "INSERT INTO CODES VALUES ('DOC_TYPE', '1', 'Policy')",
    "INSERT INTO CODES VALUES ('DOC_TYPE', '2', 'Procedure')",
    "INSERT INTO CODES VALUES ('DOC_TYPE', '3', 'Register')",
    "INSERT INTO CODES VALUES ('DOC_TYPE', '4', 'Presentation')",
    "INSERT INTO CODES VALUES ('DOC_FIELD', 'Department', 'Quality')",
    "INSERT INTO CODES VALUES ('DOC_FIELD', 'Site', 'Head Office')",
    "INSERT INTO ORGANISATION VALUES (NULL)",
};

// One DOCS row: what differs between the demo documents.
struct DemoDoc {
  std::int32_t id;
  const char* name;
  const char* number;  // DOC_NO_EXT, as people quote it
  const char* version;
  const char* status;
  const char* current;
  int docType;
  int fileType;  // 1 Word, 2 PowerPoint, 3 Excel, 5 Publisher
  const char* ext;
  const char* approvedBy;  // SQL: a user id or NULL
  const char* approvedDate;
};

constexpr DemoDoc kDocs[] = {
    {kDemoPolicyId, "Quality Policy", "QP-001", "1", "N", "Y", 1, 1, ".docx", "NULL", "NULL"},
    {kDemoProcedureId, "Safety Procedure", "SP-002", "3", "A", "Y", 2, 1, ".docx", "1", "'2024-02-01'"},
    {kDemoRegisterId, "Training Register", "TR-003", "2", "E", "Y", 3, 3, ".xlsx", "NULL", "NULL"},
    {kDemoSlidesId, "Induction Slides", "IS-004", "1", "P", "Y", 4, 2, ".pptx", "NULL", "NULL"},
    {kDemoWorkInstructionId, "Work Instruction", "WI-005", "2", "E", "Y", 2, 1, ".docx", "NULL", "NULL"},
};

std::string Quoted(const char* text) { return std::string("'") + text + "'"; }

std::string DocInsert(const DemoDoc& d) {
  const std::string id = std::to_string(d.id);
  return "INSERT INTO DOCS (DOC_ID, DOC_NO, SEQ, DOC_NAME, VER, VER_DATE, DOC_TYPE_ID, STATUS, STATUS_DATE, "
         "STATUS_BY, NEXT_REVIEW, CREATED_DATE, CREATED_BY, APPROVED_BY, APPROVED_DATE, IS_CURRENT, IS_LATEST, "
         "IS_COMPLIENT, PUBLISH_PRIVATE, PUBLISH_PUBLIC, PUBLISH_UNPROTECTED, REVIEW_INTERVAL, FILE_TYPE, "
         "FRAMEWORK, FRAMEWORK_NAME, DOC_NO_EXT, FILE_EXT, WEB_FORM, DOC_PATH) VALUES (" +
         id + ", " + id + ", 1, " + Quoted(d.name) + ", " + Quoted(d.version) + ", '2024-01-15', " +
         std::to_string(d.docType) + ", " + Quoted(d.status) + ", '2024-01-15', 1, '2025-01-15', '2023-06-01', 1, " +
         d.approvedBy + ", " + d.approvedDate + ", " + Quoted(d.current) + ", 'Y', 'Y', 'N', 'N', 'N', 12, " +
         std::to_string(d.fileType) + ", 1, 'Management System', " + Quoted(d.number) + ", " + Quoted(d.ext) +
         ", 'N', 'Management System\\Quality')";
}

}  // namespace

bool SeedDemo(ServerStore& store) {
  const StoreRows existing = store.Select("SELECT name FROM sqlite_master WHERE type='table' AND name='DOCS'");
  if (!existing.Rows.empty()) return false;
  for (const char* sql : kSchema) store.Execute(sql);
  for (const char* sql : kRows) store.Execute(sql);
  for (const DemoDoc& doc : kDocs) store.Execute(DocInsert(doc));
  return true;
}

}  // namespace quillorn::server
