#include "server/demo_seed.h"

#include <gtest/gtest.h>
#include <png.h>
#include <zlib.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/demo_files.h"
#include "server/procedure_calls.h"
#include "server/store.h"

namespace quillorn::server {
namespace {

struct SeededStore {
  SeededStore() : store(folder.Path()) { seeded = SeedDemo(store); }
  // The first column of every row, as text; the client's procedure calls are rewritten as the catalogue does.
  std::vector<std::string> Column(const std::string& sql) {
    std::vector<std::string> values;
    for (const auto& cells : store.Select(RewriteProcedureCalls(sql)).Rows) {
      values.push_back(cells[0].kind == StoreCell::Kind::Integer ? std::to_string(cells[0].integer)
                                                                 : cells[0].bytes);
    }
    return values;
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

// What the client and the stories take for granted of the demo's data; the documents
// themselves, their statuses and numbers, are the scenarios' to show.
TEST(DemoSeed, HoldsWhatTheClientTakesForGranted) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const std::string letterhead = std::to_string(kDemoTemplateId);
  struct Fact {
    std::string sql;
    std::vector<std::string> column;
  };
  const Fact facts[] = {
      {.sql = "select distinct STATUS from DOCS order by 1", .column = {"!", "A", "C", "D", "E", "N", "P", "R", "U", "W"}},
      {.sql = "select distinct FILE_TYPE || FILE_EXT from DOCS order by 1", .column = {"1.docx", "2.pptx", "3.xlsx", "5.pub"}},
      {.sql = "select DOC_NO from DOCS group by DOC_NO having sum(IS_CURRENT='Y')>1", .column = {}},
      // The document location is made from the type's name: every type has one.
      {.sql = "select DOC_ID from DOCS d where not exists (select 1 from CODES c where c.D_TYPE='DOC_TYPE' and "
              "c.CODE=cast(d.DOC_TYPE_ID as text))",
       .column = {}},
      // Users named in a record exist, or are the system itself (0).
      {.sql = "select DOC_ID from DOCS where coalesce(STATUS_BY,0)<>0 and STATUS_BY not in (select USER_ID from "
              "Users) or coalesce(APPROVED_BY,1) not in (select USER_ID from Users) or coalesce(APPROVAL_BY,1) not "
              "in (select USER_ID from Users)",
       .column = {}},
      {.sql = "select count(*) from Users where coalesce(IS_WEB_USER, 'N')='N'", .column = {"12"}},
      // The preview check cuts the scheme and the port from the URL: what is left must be this machine.
      {.sql = "select VAL like 'http://127.0.0.1:%/' from CODES where D_TYPE='WEB_SERVER' and CODE='URL'", .column = {"1"}},
      // The stories' users log in with the demo password; the approver's right comes from her group.
      {.sql = "select USER_ID from Users where LOGIN in ('JSMITH', 'PBROWN', 'MOKAFOR') and WEB_PASSWORD='demo' "
              "order by 1",
       .column = {"1", "2", "3"}},
      {.sql = "select p_view||p_edit||p_approve||p_checkout from get_doc_permissions(1002, 1)", .column = {"YYYY"}},
      {.sql = "select p_view||p_edit||p_approve||p_checkout from get_doc_permissions(1002, 2)", .column = {"YNNN"}},
      {.sql = "select p_view||p_edit||p_approve||p_checkout from get_doc_permissions(1002, 3)", .column = {"YNYN"}},
      // The template list finds the letterhead, its file opens in the simulated Word, and the save
      // finds its page-format setting.
      {.sql = "select doc_no || ' ' || doc_name || ' (' || ver || ')' from docs where (file_type=1 or file_type=2) "
              "and doc_type_id=7 and is_current='Y' and status='A'",
       .column = {letterhead + " Letterhead (2)"}},
      {.sql = "select source from docs where is_current='Y' and status='A' and doc_no=" + letterhead,
       .column = {DemoTemplateDocument()}},
      {.sql = "select VAL from CODES where D_TYPE='TEMPLATE_SETTNG' and CODE='KEEP_PG_FORMAT:" + letterhead + "'",
       .column = {"N"}},
      {.sql = "select DOC_ID from DOCS where WEB_FORM='Y'", .column = {std::to_string(kDemoWebFormId)}},
  };
  for (const Fact& f : facts) EXPECT_EQ(s.Column(f.sql), f.column) << f.sql;
}

TEST(DemoSeed, TheWebFormHasItsRecordAndPackage) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const std::string no = std::to_string(kDemoWebFormId);
  const std::string page = "form_" + no + ".htm";
  EXPECT_EQ(s.Column("select TEMPLATE_NAME from FORMS where DOC_NO=" + no), std::vector<std::string>{page});

  // The package's first entry is the page, stored whole, its CRC right.
  const std::string zip = s.Column("select HTML_FORM from FORMS where DOC_NO=" + no).at(0);
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

  // Every field of the record ("NAME=Caption" lines, by name) is a placeholder of the page.
  std::istringstream lines(s.Column("select FIELDS_USED from FORMS where DOC_NO=" + no).at(0));
  std::string previous;
  int fields = 0;
  for (std::string line; std::getline(lines, line) && line.find('=') != std::string::npos; ++fields) {
    const std::string name = line.substr(0, line.find('='));
    EXPECT_LT(previous, name);
    EXPECT_NE(html.find("{%" + name + "%}"), std::string::npos) << name;
    previous = name;
  }
  EXPECT_GE(fields, 5);
}

// Read back by a PNG reader: the size the client's logo routine reads, and the
// colours where the drawing puts them.
TEST(DemoSeed, TheLogoIsASmallPalettePng) {
  SeededStore s;
  ASSERT_TRUE(s.seeded);
  const std::string png = s.Column("select logo from ORGANISATION").at(0);
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
  const std::string paper = "\xFF\xFF\xFF", teal("\x00\x62\x6E", 3), amber("\xF2\xA9\x00", 3);
  EXPECT_EQ(pixel(0, 0), paper);
  EXPECT_EQ(pixel(3, 3), teal);     // the mark
  EXPECT_EQ(pixel(15, 16), amber);  // the quill across it
  EXPECT_EQ(pixel(92, 7), teal);    // the end of the first bar
  EXPECT_EQ(pixel(93, 7), paper);
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
