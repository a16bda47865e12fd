#include "server/demo_seed.h"

#include <gtest/gtest.h>
#include <png.h>
#include <zlib.h>

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/catalogue.h"
#include "server/demo_files.h"
#include "server/procedure_calls.h"
#include "server/store.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::server {
namespace {

struct SeededStore {
  SeededStore() : store(folder.Path()) { seeded = SeedDemo(store); }
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

// The store as a whole: what the client takes for granted of any server's data.
TEST(DemoSeed, HoldsEveryStatusAndEveryKindOfFile) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  std::set<std::string> statuses;
  for (const auto& status : s.Column("select distinct STATUS from DOCS")) statuses.insert(status);
  EXPECT_EQ(statuses, (std::set<std::string>{"A", "W", "R", "E", "P", "D", "N", "!", "C", "U"}));
  const std::vector<std::string> faults = {
      // A file type's documents all carry its extension.
      "select DOC_ID from DOCS where FILE_TYPE=1 and FILE_EXT<>'.docx' or FILE_TYPE=2 and FILE_EXT<>'.pptx' or "
      "FILE_TYPE=3 and FILE_EXT<>'.xlsx' or FILE_TYPE=5 and FILE_EXT<>'.pub'",
      // No document number has two current revisions.
      "select DOC_NO from DOCS group by DOC_NO having sum(IS_CURRENT='Y')>1",
      // The document location is made from the type's name: every type has one.
      "select DOC_ID from DOCS d where not exists (select 1 from CODES c where c.D_TYPE='DOC_TYPE' and "
      "c.CODE=cast(d.DOC_TYPE_ID as text))",
      // Users named in a record exist, or are the system itself (0).
      "select DOC_ID from DOCS where coalesce(STATUS_BY,0)<>0 and STATUS_BY not in (select USER_ID from Users) or "
      "coalesce(APPROVED_BY,1) not in (select USER_ID from Users) or coalesce(APPROVAL_BY,1) not in (select "
      "USER_ID from Users)",
  };
  for (const auto& sql : faults) EXPECT_EQ(s.Column(sql).size(), 0u) << sql;
  EXPECT_EQ(s.Column("select distinct FILE_TYPE from DOCS order by 1"), (std::vector<std::string>{"1", "2", "3", "5"}));
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
  // The preview check cuts the scheme and the port from the URL: what is left is this machine.
  const std::string url = s.Column("select VAL from CODES where D_TYPE='WEB_SERVER' and CODE='URL'").at(0);
  EXPECT_TRUE(url.starts_with("http://127.0.0.1:") && url.ends_with("/")) << url;
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

  const std::string no = std::to_string(kDemoTemplateId);
  transport::TRpcValue fetched = s.Select(
      "select doc_no, source, status_date, seq, framework, file_type from docs where is_current='Y' and "
      "status='A' and doc_no=" + no);
  transport::TRpcDataSet& file = fetched.AsDataSet();
  ASSERT_EQ(file.RowCount(), 1u);
  file.First();
  EXPECT_EQ(file.GetInteger("SEQ"), templates.GetInteger("SEQ"));
  EXPECT_EQ(file.GetByteStream("SOURCE"), DemoTemplateDocument());
  // The page-format setting of this template is on the server for the save to read.
  EXPECT_EQ(s.Column("select VAL from CODES where D_TYPE='TEMPLATE_SETTNG' and CODE='KEEP_PG_FORMAT:" + no + "'"),
            std::vector<std::string>{"N"});
}

TEST(DemoSeed, TheWebFormHasItsRecordAndPackage) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const std::string no = std::to_string(kDemoWebFormId);
  EXPECT_EQ(s.Column("select DOC_ID from DOCS where WEB_FORM='Y'"), std::vector<std::string>{no});
  transport::TRpcValue reply = s.Select(
      "SELECT DOC_NO, TEMPLATE_NAME, HTML_FORM, LAST_EXTRACTED, FIELDS_USED, REGISTER_NAME FROM FORMS where "
      "DOC_NO = " + no);
  transport::TRpcDataSet& forms = reply.AsDataSet();
  ASSERT_EQ(forms.RowCount(), 1u);
  forms.First();
  const std::string page = forms.GetString("TEMPLATE_NAME");
  EXPECT_EQ(page, "form_" + no + ".htm");

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

// The users the stories log in as, with what their roles let them do (their groups' rights combined).
TEST(DemoSeed, TheStoriesUsersHaveTheirRoles) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  struct Role {
    int user;
    const char* login;
    const char* viewEditApproveCheckout;
  } roles[] = {
      {.user = kDemoAuthorId, .login = "JSMITH", .viewEditApproveCheckout = "YYYY"},
      {.user = kDemoReaderId, .login = "PBROWN", .viewEditApproveCheckout = "YNNN"},
      {.user = kDemoApproverId, .login = "MOKAFOR", .viewEditApproveCheckout = "YNYN"},
  };
  for (const Role& r : roles) {
    const std::string user = std::to_string(r.user);
    EXPECT_EQ(s.Column("select USER_ID from Users where LOGIN='" + std::string(r.login) + "' and WEB_PASSWORD='" +
                       std::string(kDemoPassword) + "'"),
              std::vector<std::string>{user});
    EXPECT_EQ(s.Column(RewriteProcedureCalls("select p_view||p_edit||p_approve||p_checkout from "
                                             "get_doc_permissions(1002, " + user + ")")),
              std::vector<std::string>{r.viewEditApproveCheckout})
        << r.login;
  }
}

TEST(DemoSeed, LeavesAStoreWithTablesAlone) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  s.store.Execute("UPDATE DOCS SET STATUS='E' WHERE DOC_ID=1001");
  s.store.Execute("DELETE FROM CODES WHERE D_TYPE='WEB_SERVER'");
  EXPECT_FALSE(SeedDemo(s.store));
  EXPECT_EQ(s.Column("select STATUS from DOCS where DOC_ID=1001"), std::vector<std::string>{"E"});
  EXPECT_EQ(s.Column("select count(*) from CODES where D_TYPE='WEB_SERVER'"), std::vector<std::string>{"0"});
}

}  // namespace
}  // namespace quillorn::server
