#include "data/cache_schema.h"

#include <array>

namespace quillorn::data {
namespace {

// Written in the dialect the rest of the add-in speaks; the adapter turns the
// named primary keys into constraints. Column order matters: readers address
// result rows by position.
constexpr std::array kCacheTables{
    TableStatement{"DOCFIELDS", "CREATE TABLE DOCFIELDS (CODE VARCHAR(30), VAL VARCHAR(1024), VAL3 INTEGER)"},
    TableStatement{"DOCS",
                   "CREATE TABLE DOCS (DOC_ID integer, DOC_NO integer, SEQ integer, DOC_NAME varchar(512), "
                   "VER varchar(10), VER_DATE DATETIME, DOC_TYPE_ID integer, STATUS char(1), "
                   "STATUS_DATE DATETIME, STATUS_BY integer, NEXT_REVIEW date, CREATED_DATE date, "
                   "CREATED_BY integer, APPROVED_BY integer, APPROVED_DATE DATETIME, NOTES blob, "
                   "IS_CURRENT char(1), IS_LATEST char(1), IS_COMPLIENT char(1), PUBLISH_PRIVATE char(1), "
                   "PUBLISH_PUBLIC char(1), PUBLISH_UNPROTECTED char(1), REVIEW_INTERVAL integer, "
                   "APPROVAL_BY integer, FILE_TYPE integer, FRAMEWORK integer, FRAMEWORK_NAME varchar(30), "
                   "TEMPLATE_ID integer, DOC_NO_EXT varchar(15), FILE_EXT varchar(6), WEB_FORM char(1), "
                   "KEYWORDS varchar(512), LAST_PUBLISHED DATETIME, DOC_PATH varchar(2048), "
                   "PRIMARY KEY DOC_ID_IDX (DOC_ID))"},
    TableStatement{"USERS",
                   "CREATE TABLE USERS (USER_ID INTEGER, LOGIN VARCHAR(31), GIVEN_NAMES VARCHAR(40), "
                   "SURNAME VARCHAR(20), DESIGNATION VARCHAR(20), EMAIL VARCHAR(100), P_CREATE CHAR(1), "
                   "P_EDIT CHAR(1), P_DELETE CHAR(1), P_MOVE CHAR(1), P_VIEW CHAR(1), P_APPROVE CHAR(1), "
                   "P_REVISE CHAR(1), P_CHECKOUT CHAR(1), P_PRINT_UNCTRL CHAR(1), P_ARCHIVE CHAR(1), "
                   "P_ADMIN CHAR(1), P_CONTENT CHAR(1), IS_DELETED CHAR(1), P_EXPORT CHAR(1), "
                   "P_TEMPLATE CHAR(1), P_FVIEW CHAR(1), P_FCREATE CHAR(1), P_FEDIT CHAR(1), "
                   "P_FDELETE CHAR(1), P_FMOVE CHAR(1), P_FARCHIVE CHAR(1), P_LIBRARY CHAR(1), "
                   "P_CHANGE_PERMISSION CHAR(1), IS_WEB_USER CHAR(1), WEB_PASSWORD VARCHAR(16), "
                   "ATTACHMENT_ID INTEGER, PRIMARY KEY USER_ID_IDX (USER_ID))"},
    TableStatement{"CODES", "CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))"},
    TableStatement{"DOC_PERMISSIONS",
                   "CREATE TABLE DOC_PERMISSIONS (DOC_ID integer, USER_ID integer, P_CREATE char(1), "
                   "P_EDIT char(1), P_DELETE char(1), P_MOVE char(1), P_VIEW char(1), P_REVISE char(1), "
                   "P_APPROVE char(1), P_CHECKOUT char(1), P_PRINT_UNCTRL char(1), P_EXPORT char(1), "
                   "P_CHANGE_PERMISSION char(1), PRIMARY KEY PERMISSIONS_IDX (DOC_ID, USER_ID))"},
    TableStatement{"TEMPLATES",
                   "CREATE TABLE TEMPLATES (DOC_NO INTEGER, DOC_NAME VARCHAR(512), SEQ INTEGER, "
                   "FRAMEWORK INTEGER, FILE_TYPE INTEGER, STATUS_DATE DATETIME, SOURCE BLOB, OLD BOOLEAN, "
                   "PRIMARY KEY DOC_NO_IDX (DOC_NO))"},
    TableStatement{"FORMS",
                   "CREATE TABLE FORMS (DOC_NO INTEGER, TEMPLATE_NAME VARCHAR(30), HTML_FORM BLOB, "
                   "LAST_EXTRACTED DATETIME, FIELDS_USED MEMO, REGISTER_NAME VARCHAR(100), "
                   "PRIMARY KEY DOC_NO_IDX (DOC_NO))"},
    TableStatement{"FILES",
                   "CREATE TABLE FILES (DOC_ID INTEGER, FILENAME VARCHAR(1024), INIT BOOLEAN DEFAULT FALSE, "
                   "IGNORE BOOLEAN, OLE_IGNORE BOOLEAN DEFAULT FALSE, SESSION_ID INTEGER, READ_ONLY BOOLEAN, "
                   "PRINT BOOLEAN, PRINT_CONTROLLED BOOLEAN, USER_ID INTEGER, "
                   "CHECKED_OUT BOOLEAN DEFAULT FALSE, CACHED BOOLEAN DEFAULT FALSE, "
                   "WEB_FIELDS_EXTRACTED BOOLEAN DEFAULT FALSE, LAST_SAVED DATETIME, "
                   "PRIMARY KEY FILENAME_IDX (FILENAME))"},
    TableStatement{"CACHELOG", "CREATE TABLE CACHELOG (USER_ID INTEGER, FILENAME VARCHAR(30))"},
    TableStatement{"PUBLISHED_DOCS",
                   "CREATE TABLE PUBLISHED_DOCS (DOC_NO INTEGER NOT NULL, SOURCE_TYPE CHAR(10) NOT NULL, "
                   "DOC_ID INTEGER, LAST_GENERATED DATETIME, SOURCE BLOB, "
                   "PRIMARY KEY PK_PUBLISHED_DOCS (DOC_NO, SOURCE_TYPE))"},
    TableStatement{"LOGO", "CREATE TABLE LOGO (LOGO BLOB)"},
    TableStatement{"VER", "CREATE TABLE VER (VER_NO INTEGER)"},
    TableStatement{"USER_GROUP_LINKS", "CREATE TABLE USER_GROUP_LINKS (USER_ID INTEGER, GROUP_ID INTEGER)"},
    TableStatement{"GROUPS",
                   "CREATE TABLE GROUPS (GROUP_ID INTEGER NOT NULL, GROUP_NAME VARCHAR(30), P_CREATE CHAR(1), "
                   "P_EDIT CHAR(1), P_DELETE CHAR(1), P_MOVE CHAR(1), P_VIEW CHAR(1), P_APPROVE CHAR(1), "
                   "P_REVISE CHAR(1), P_CHECKOUT CHAR(1), P_PRINT_UNCTRL CHAR(1), P_ARCHIVE CHAR(1), "
                   "P_ADMIN CHAR(1), P_CONTENT CHAR(1), IS_DELETED CHAR(1), P_EXPORT CHAR(1), "
                   "P_TEMPLATE CHAR(1), P_FVIEW CHAR(1), P_FCREATE CHAR(1), P_FEDIT CHAR(1), "
                   "P_FDELETE CHAR(1), P_FMOVE CHAR(1), P_FARCHIVE CHAR(1), P_LIBRARY CHAR(1), "
                   "P_CHANGE_PERMISSION CHAR(1), PRIMARY KEY GROUP_ID_IDX (GROUP_ID))"},
    TableStatement{"UPLOADS",
                   "CREATE TABLE UPLOADS (FILENAME WIDEVARCHAR(1024), ISIMAGE BOOLEAN DEFAULT FALSE, "
                   "TSTAMP DATETIME, LASTCHANGE DATETIME, DONE BOOLEAN DEFAULT FALSE, "
                   "PRIMARY KEY FILENAME_IDX (FILENAME))"},
};

constexpr std::array kMemoryTables{
    TableStatement{"WebFields",
                   "CREATE TABLE IF NOT EXISTS WebFields (FieldName VARCHAR(10), FieldType VARCHAR(10), "
                   "FieldNo INTEGER, FriendlyName VARCHAR(30), doc_id INTEGER, remove BOOLEAN, "
                   "properties BOOLEAN, ext VARCHAR(1024))"},
    TableStatement{"ReviewIntervals", "CREATE TABLE IF NOT EXISTS ReviewIntervals (id INTEGER, descript VARCHAR(20))"},
};

}  // namespace

std::span<const TableStatement> CacheTableStatements() { return kCacheTables; }

std::span<const TableStatement> MemoryTableStatements() { return kMemoryTables; }

}  // namespace quillorn::data
