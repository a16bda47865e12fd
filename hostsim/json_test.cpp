#include "hostsim/json.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace quillorn::hostsim {
namespace {

TEST(JsonTest, TextSurvivesDumpAndParse) {
  const std::vector<std::string> texts = {"", "plain", "quote \" and \\ back", "cr\rlf\n\ttab", std::string("\x01\x1f", 2),
                                          "\xc3\xa9t\xc3\xa9 \xe2\x82\xac"};
  for (const auto& t : texts) {
    Json obj = Json::MakeObject();
    obj.Set("t", t);
    obj.Set("n", 296.5);
    EXPECT_EQ(Json::Parse(obj.Dump())["t"].AsString(), t);
    EXPECT_DOUBLE_EQ(Json::Parse(obj.Dump())["n"].AsNumber(), 296.5);
  }
  EXPECT_EQ(Json::Parse(R"({"a":"\u00e9\u20ac"})")["a"].AsString(), "\xc3\xa9\xe2\x82\xac");
}

TEST(JsonTest, RefusesBrokenText) {
  for (const char* bad : {"", "{", "{\"a\":}", "[1,]", "{\"a\" 1}", "\"open", "tru", "{} x", "[\"\\q\"]", "1e999"}) {
    EXPECT_THROW(Json::Parse(bad), std::runtime_error) << bad;
  }
  std::string deep(100, '[');
  EXPECT_THROW(Json::Parse(deep), std::runtime_error);
}

}  // namespace
}  // namespace quillorn::hostsim
