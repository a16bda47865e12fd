#include "server/demo_seed.h"

#include <gtest/gtest.h>
#include <png.h>
#include <zlib.h>

#include <cstdint>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/catalogue.h"
#include "server/procedure_calls.h"
#include "server/sql_dataset.h"
#include "server/store.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

struct SeededStore {
  SeededStore() : store(folder.Path()) { seeded = SeedDemo(store); }
  // The first row's columns by name, as the client's statement gets them.
  std::map<std::string, std::string> Row(const std::string& clientSql) {
    const StoreRows rows = store.Select(RewriteProcedureCalls(clientSql));
    std::map<std::string, std::string> row;
    if (rows.Rows.empty()) return row;
    for (std::size_t i = 0; i < rows.Columns.size(); ++i) {
      const StoreCell& cell = rows.Rows[0][i];
      row[rows.Columns[i].Name] =
          cell.kind == StoreCell::Kind::Integer ? std::to_string(cell.integer) : cell.bytes;
    }
    return row;
  }
  // The first column of every row, as text.
  std::vector<std::string> Column(const std::string& sql) {
    std::vector<std::string> values;
    for (const auto& cells : store.Select(sql).Rows) {
      values.push_back(cells[0].kind == StoreCell::Kind::Integer ? std::to_string(cells[0].integer)
                                                                 : cells[0].bytes);
    }
    return values;
  }
  // The reply of the catalogue's "select" to a statement as the client sends it.
  transport::TRpcValue Select(const std::string& sql) {
    for (auto& [name, function] : Catalogue(store)) {
      if (name != "select") continue;
      transport::TRpcFunctionInfo call("select");
      call.SetText("sql", sql);
      return function(call);
    }
    ADD_FAILURE() << "the catalogue has no select";
    return {};
  }
  foundation::testing::TempFolder folder;
  ServerStore store;
  bool seeded = false;
};

std::uint32_t LittleEndian(const std::string& bytes, std::size_t at, int size) {
  std::uint32_t value = 0;
  for (int i = size - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes.at(at + i));
  return value;
}

std::uint32_t Crc(const std::string& bytes) {
  return static_cast<std::uint32_t>(crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(bytes.data()),
                                          static_cast<uInt>(bytes.size())));
}

TEST(DemoSeed, KeepsTheDocumentsAndRightsTheStoriesUse) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  struct Case {
    int doc;
    const char* status;
    const char* fileExt;
    const char* number;
  } cases[] = {{kDemoPolicyId, "N", ".docx", "QP-001"},
               {kDemoProcedureId, "A", ".docx", "SP-002"},
               {kDemoRegisterId, "E", ".xlsx", "TR-003"},
               {kDemoSlidesId, "P", ".pptx", "IS-004"},
               {kDemoWorkInstructionId, "E", ".docx", "WI-005"}};
  for (const Case& c : cases) {
    auto doc = s.Row("SELECT * from VIEW_DOC(" + std::to_string(c.doc) + ")");
    EXPECT_EQ(doc["STATUS"], c.status) << c.doc;
    EXPECT_EQ(doc["FILE_EXT"], c.fileExt) << c.doc;
    EXPECT_EQ(doc["DOC_NO_EXT"], c.number) << c.doc;
    EXPECT_EQ(doc["IS_CURRENT"], "Y") << c.doc;
    EXPECT_EQ(doc["CREATED_BY"], "1") << c.doc;
  }
  EXPECT_EQ(s.Row("select user_id from users where login='JSMITH' and web_password='demo'")["USER_ID"], "1");
  EXPECT_EQ(s.Row("select user_id from users where login='PBROWN' and web_password='demo'")["USER_ID"], "2");
}

TEST(DemoSeed, HoldsEveryStatusAndEveryKindOfFile) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  std::set<std::string> statuses;
  for (const auto& status : s.Column("select distinct STATUS from DOCS")) statuses.insert(status);
  for (const char letter : std::string("AWREPDN!CU")) {
    EXPECT_TRUE(statuses.count(std::string(1, letter))) << "no document with status " << letter;
  }
  EXPECT_EQ(statuses.size(), 10u) << "a status letter the client does not know";

  struct Kind {
    const char* fileType;
    const char* ext;
  } kinds[] = {{"1", ".docx"}, {"2", ".pptx"}, {"3", ".xlsx"}, {"5", ".pub"}};
  for (const Kind& k : kinds) {
    EXPECT_EQ(s.Row(std::string("select count(*) as N from DOCS where FILE_TYPE=") + k.fileType +
                    " and FILE_EXT<>'" + k.ext + "'")["N"],
              "0")
        << k.fileType;
    EXPECT_NE(s.Row(std::string("select count(*) as N from DOCS where FILE_TYPE=") + k.fileType)["N"], "0")
        << k.fileType;
  }
  // No document number has two current revisions.
  EXPECT_EQ(s.Column("select DOC_NO from DOCS group by DOC_NO having sum(IS_CURRENT='Y')>1").size(), 0u);
  // The document location is made from the type's name: every type has one.
  EXPECT_EQ(s.Column("select DOC_ID from DOCS d where not exists (select 1 from CODES c where "
                     "c.D_TYPE='DOC_TYPE' and c.CODE=cast(d.DOC_TYPE_ID as text))")
                .size(),
            0u);
  // Users named in a record exist, or are the system itself (0).
  EXPECT_EQ(s.Column("select DOC_ID from DOCS where coalesce(STATUS_BY,0)<>0 and STATUS_BY not in (select "
                     "USER_ID from Users) or coalesce(APPROVED_BY,1) not in (select USER_ID from Users) or "
                     "coalesce(APPROVAL_BY,1) not in (select USER_ID from Users)")
                .size(),
            0u);
}

TEST(DemoSeed, EveryTableTheClientFetchesCrossesTheWire) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  std::vector<std::string> statements = {
      "select CODE, VAL from GET_DOC_FIELDS",
      "SELECT * from Users where coalesce(IS_WEB_USER, 'N')='N'",
      "SELECT * from GROUPS",
      "SELECT * from USER_GROUP_LINKS",
      "select D_TYPE, CODE, VAL from CODES where D_TYPE<>'DOC_FIELD'",
      "select doc_no, cast((doc_name || ' (' || ver|| ')') as VarChar(512)) as doc_name, seq, framework, "
      "file_type "
      "from docs where (file_type=1 or file_type=2) and doc_type_id=7 and is_current='Y' and status='A'",
      "select logo from ORGANISATION",
  };
  for (const auto& id : s.Column("select DOC_ID from DOCS")) {
    statements.push_back("SELECT * from VIEW_DOC(" + id + ")");
    statements.push_back(
        "SELECT DOC_NO, TEMPLATE_NAME, HTML_FORM, LAST_EXTRACTED, FIELDS_USED, REGISTER_NAME FROM "
        "FORMS where DOC_NO = " +
        id);
  }
  for (const auto& sql : statements) {
    const transport::TRpcValue reply = s.Select(sql);
    EXPECT_EQ(reply.ValueType(), transport::TRpcValueTypes::rpc_DataSet) << sql << ": " << reply.AsString();
  }
  EXPECT_EQ(s.Select("SELECT * from Users where coalesce(IS_WEB_USER, 'N')='N'").AsDataSet().RowCount(), 12u);
  EXPECT_EQ(s.Select("select CODE, VAL from CODES where D_TYPE='DOC_FIELD'").AsDataSet().RowCount(),
            s.Select("select CODE, VAL from GET_DOC_FIELDS").AsDataSet().RowCount());
}

TEST(DemoSeed, TheTemplateListAndTheTemplateFetchFindTheLetterhead) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  transport::TRpcValue list = s.Select(
      "select doc_no, cast((doc_name || ' (' || ver|| ')') as VarChar(512)) as doc_name, seq, framework, "
      "file_type from docs where (file_type=1 or file_type=2) and doc_type_id=7 and is_current='Y' and "
      "status='A'");
  transport::TRpcDataSet& templates = list.AsDataSet();
  ASSERT_EQ(templates.RowCount(), 1u);
  templates.First();
  EXPECT_EQ(templates.GetInteger("DOC_NO"), kDemoTemplateId);
  EXPECT_EQ(templates.GetString("DOC_NAME"), "Letterhead (2)");
  EXPECT_EQ(templates.GetInteger("FILE_TYPE"), 1);

  const std::string no = std::to_string(kDemoTemplateId);
  transport::TRpcValue fetched = s.Select(
      "select doc_no, source, status_date, seq, framework, file_type from docs where is_current='Y' and "
      "status='A' "
      "and doc_no=" +
      no);
  transport::TRpcDataSet& file = fetched.AsDataSet();
  ASSERT_EQ(file.RowCount(), 1u);
  file.First();
  EXPECT_EQ(file.GetInteger("SEQ"), templates.GetInteger("SEQ"));
  const std::string source = file.GetByteStream("SOURCE");
  // The simulated Word's file: its header holds the logo shape the logo routine fills.
  EXPECT_EQ(source.rfind("{", 0), 0u);
  EXPECT_NE(source.find("\"host\": \"word\""), std::string::npos);
  EXPECT_NE(source.find("\"qllogo1\""), std::string::npos);
  // The client asks for the current revision's seq before it fetches the file again.
  EXPECT_EQ(s.Row("select seq from docs where is_current='Y' and status='A' and doc_no=" + no)["SEQ"], "2");
  // The page-format setting of this template is on the server for the save to read.
  EXPECT_EQ(s.Row("select VAL from CODES where D_TYPE='TEMPLATE_SETTNG' and CODE='KEEP_PG_FORMAT:" + no +
                  "'")["VAL"],
            "N");
}

TEST(DemoSeed, TheWebFormHasItsRecordAndPackage) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const std::string no = std::to_string(kDemoWebFormId);
  EXPECT_EQ(s.Row("SELECT * from VIEW_DOC(" + no + ")")["WEB_FORM"], "Y");
  EXPECT_EQ(s.Row("select count(*) as N from DOCS where WEB_FORM='Y'")["N"], "1");

  transport::TRpcValue reply = s.Select(
      "SELECT DOC_NO, TEMPLATE_NAME, HTML_FORM, LAST_EXTRACTED, FIELDS_USED, REGISTER_NAME FROM FORMS where "
      "DOC_NO "
      "= " +
      no);
  transport::TRpcDataSet& forms = reply.AsDataSet();
  ASSERT_EQ(forms.RowCount(), 1u);
  forms.First();
  const std::string page = forms.GetString("TEMPLATE_NAME");
  EXPECT_EQ(page, "form_" + no + ".htm");
  EXPECT_EQ(forms.GetString("REGISTER_NAME"), "Incident Report Register");

  // The package's first entry is the page, stored whole, its CRC right.
  const std::string zip = forms.GetByteStream("HTML_FORM");
  ASSERT_GT(zip.size(), 30u);
  ASSERT_EQ(LittleEndian(zip, 0, 4), 0x04034B50u);
  EXPECT_EQ(LittleEndian(zip, 8, 2), 0u);  // stored
  const std::uint32_t size = LittleEndian(zip, 18, 4);
  const std::uint32_t nameSize = LittleEndian(zip, 26, 2);
  ASSERT_LE(30u + nameSize + size, zip.size());
  EXPECT_EQ(zip.substr(30, nameSize), page);
  const std::string html = zip.substr(30 + nameSize, size);
  EXPECT_EQ(Crc(html), LittleEndian(zip, 14, 4));
  // The end record counts two entries: the page and its resource list.
  ASSERT_GE(zip.size(), 22u);
  EXPECT_EQ(LittleEndian(zip, zip.size() - 22, 4), 0x06054B50u);
  EXPECT_EQ(LittleEndian(zip, zip.size() - 12, 2), 2u);

  // Every field of the record is a placeholder of the page, listed by name in order.
  std::istringstream lines(forms.GetString("FIELDS_USED"));
  std::string line, previous;
  int fields = 0;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    const std::string name = line.substr(0, line.find('='));
    EXPECT_NE(line.find('='), std::string::npos) << line;
    EXPECT_LT(previous, name);
    EXPECT_NE(html.find("{%" + name + "%}"), std::string::npos) << name;
    previous = name;
    ++fields;
  }
  EXPECT_GE(fields, 5);
}

// Read back by a PNG reader: the size the client's logo routine reads, and the
// colours where the drawing puts them.
TEST(DemoSeed, TheLogoIsASmallPalettePng) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  transport::TRpcValue reply = s.Select("select logo from ORGANISATION");
  transport::TRpcDataSet& logo = reply.AsDataSet();
  ASSERT_EQ(logo.RowCount(), 1u);
  logo.First();
  const std::string png = logo.GetByteStream("LOGO");
  EXPECT_LT(png.size(), 1024u);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_memory(&image, png.data(), png.size()), 0) << image.message;
  EXPECT_EQ(image.width, 96u);
  EXPECT_EQ(image.height, 32u);
  EXPECT_NE(image.format & PNG_FORMAT_FLAG_COLORMAP, 0u);
  image.format = PNG_FORMAT_RGB;
  std::string rgb(PNG_IMAGE_SIZE(image), '\0');
  ASSERT_NE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr), 0) << image.message;
  const auto pixel = [&](int x, int y) { return rgb.substr(static_cast<std::size_t>(y * 96 + x) * 3, 3); };
  EXPECT_EQ(pixel(0, 0), "\xFF\xFF\xFF");                  // paper
  EXPECT_EQ(pixel(3, 3), std::string("\x00\x62\x6E", 3));  // the teal mark
  EXPECT_EQ(pixel(15, 16), std::string("\xF2\xA9\x00", 3));  // the amber quill
  EXPECT_EQ(pixel(92, 7), std::string("\x00\x62\x6E", 3));  // the end of the first bar
  EXPECT_EQ(pixel(93, 7), "\xFF\xFF\xFF");
}

TEST(DemoSeed, GroupsGiveDifferentRightsAndThePermissionsCombineThem) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  // No two groups grant the same set of rights.
  EXPECT_EQ(
      s.Column("select count(distinct P_CREATE||P_EDIT||P_DELETE||P_MOVE||P_VIEW||P_APPROVE||P_REVISE||"
               "P_CHECKOUT||P_PRINT_UNCTRL||P_EXPORT||P_CHANGE_PERMISSION||P_TEMPLATE||P_ADMIN) = count(*) "
               "from GROUPS")
          .at(0),
      "1");
  EXPECT_GE(s.Column("select GROUP_ID from GROUPS").size(), 5u);

  struct Rights {
    int user;
    const char* why;
    const char* edit;
    const char* approve;
    const char* checkout;
    const char* print;
    const char* changePermission;
  } rights[] = {
      {kDemoAuthorId, "her own row", "Y", "Y", "Y", "Y", "Y"},
      {kDemoReaderId, "readers look", "N", "N", "N", "N", "N"},
      {kDemoApproverId, "approvers' group", "N", "Y", "N", "Y", "N"},
      {10, "own print, approvers and committee", "Y", "Y", "N", "Y", "N"},
      {8, "authors and template editors", "Y", "N", "Y", "Y", "N"},
      {5, "document control", "Y", "Y", "Y", "Y", "Y"},
      {12, "no group", "N", "N", "N", "N", "N"},
  };
  for (const Rights& r : rights) {
    const std::string user = std::to_string(r.user);
    auto row =
        s.Row("select 1002 as doc_id, " + user +
              " as user_id, p_create, p_edit, p_delete, p_move, p_view, p_approve, p_revise, p_checkout, "
              "p_print_unctrl, p_export, p_change_permission from get_doc_permissions(1002, " +
              user + ")");
    EXPECT_EQ(row["P_VIEW"], "Y") << r.why;
    EXPECT_EQ(row["P_EDIT"], r.edit) << r.why;
    EXPECT_EQ(row["P_APPROVE"], r.approve) << r.why;
    EXPECT_EQ(row["P_CHECKOUT"], r.checkout) << r.why;
    EXPECT_EQ(row["P_PRINT_UNCTRL"], r.print) << r.why;
    EXPECT_EQ(row["P_CHANGE_PERMISSION"], r.changePermission) << r.why;
  }

  // The client's list of approvers over these tables: a user for each approving
  // group, never one who has left.
  const std::vector<std::string> approvers = s.Column(
      "SELECT u.USER_ID, coalesce(GIVEN_NAMES, '') || coalesce(' ' || SURNAME, '') || CASE WHEN DESIGNATION "
      "IS "
      "NULL THEN '' ELSE ' (' || DESIGNATION  || ')' END as approval_user, EMAIL, LOGIN FROM USERS u left "
      "join "
      "user_group_links ugl on u.user_id=ugl.user_id left join GROUPS g on ugl.group_id=g.group_id where "
      "coalesce(u.IS_DELETED, 'N')<>'Y' and ((coalesce(u.P_APPROVE,'N') = 'Y') or (coalesce(g.P_APPROVE,'N') "
      "= "
      "'Y')) order by 1,2");
  EXPECT_EQ(approvers, (std::vector<std::string>{"1", "3", "5", "10"}));
  EXPECT_EQ(s.Row("select IS_DELETED from Users where LOGIN='LHUGHES'")["IS_DELETED"], "Y");
  EXPECT_EQ(s.Row("select count(*) as N from USER_GROUP_LINKS where GROUP_ID=3")["N"], "3");
}

TEST(DemoSeed, CodesConfigureTheClient) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const auto code = [&](const char* type, const char* name) {
    return s.Row(std::string("select VAL from CODES where D_TYPE='") + type + "' and CODE='" + name +
                 "'")["VAL"];
  };
  // The revision fields need all three; a missing date format writes no field at all.
  for (const char* name : {"DATE_FORMAT", "USER_NAME_FORMAT", "LOCATION_PREFIX"}) {
    EXPECT_FALSE(code("REV_FIELD", name).empty()) << name;
  }
  // Review defaults are interval numbers: a framework's own wins over the application's.
  for (const char* type : {"APP_OPTION", "FW2"}) {
    const std::string months = code(type, "DEF_REVIEW");
    ASSERT_FALSE(months.empty()) << type;
    EXPECT_EQ(months.find_first_not_of("0123456789"), std::string::npos) << type;
  }
  EXPECT_NE(code("APP_OPTION", "DEF_REVIEW"), code("FW2", "DEF_REVIEW"));
  EXPECT_NE(s.Row("select count(*) as N from DOCS where FRAMEWORK=2")["N"], "0");
  // The preview check cuts the scheme and the port from the URL: what is left is this machine.
  const std::string url = code("WEB_SERVER", "URL");
  ASSERT_GT(url.size(), 7u);
  std::string host = url.substr(7);
  host = host.substr(0, host.find(':'));
  EXPECT_EQ(host, "127.0.0.1");
  EXPECT_EQ(url.back(), '/');
  const std::string port = code("WEB_SERVER", "INFO_PORT");
  EXPECT_FALSE(port.empty());
  EXPECT_EQ(port.find_first_not_of("0123456789"), std::string::npos);
}

TEST(DemoSeed, LeavesAStoreWithTablesAlone) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const std::string users = s.Row("select count(*) as N from Users")["N"];
  s.store.Execute("UPDATE DOCS SET STATUS='E' WHERE DOC_ID=1001");
  s.store.Execute("DELETE FROM CODES WHERE D_TYPE='WEB_SERVER'");
  EXPECT_FALSE(SeedDemo(s.store));
  EXPECT_EQ(s.Row("select STATUS from DOCS where DOC_ID=1001")["STATUS"], "E");
  EXPECT_EQ(s.Row("select count(*) as N from CODES where D_TYPE='WEB_SERVER'")["N"], "0");
  EXPECT_EQ(s.Row("select count(*) as N from Users")["N"], users);
}

}  // namespace
}  // namespace quillorn::server
