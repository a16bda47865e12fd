#include "transport/value_json.h"

#include <gtest/gtest.h>

#include "transport/codec.h"

namespace quillorn::transport {
namespace {

// Code bytes against their JSON picture, both ways.
TEST(ValueJson, PicturesOfEachClass) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"X=;", R"({"t":"X"})"},
      {"T=4\"a\";b\";", R"({"t":"T","v":"a\";b"})"},
      {std::string("S=2\"\x00\xAB\";", 8), R"({"t":"S","hex":"00ab"})"},
      {std::string("W=2\"A\x00\";", 8), R"({"t":"W","v":"A"})"},
      {"V=2\"ID\";", R"({"t":"V","v":"ID"})"},
      {"B=T;", R"({"t":"B","v":true})"},
      {"I=12;", R"({"t":"I","v":12})"},
      {"K=4294967295;", R"({"t":"K","v":4294967295})"},
      {"L=-9000000000;", R"({"t":"L","v":-9000000000})"},
      {"O=7;", R"({"t":"O","v":7})"},
      {"F=1.5;", R"({"t":"F","v":1.5})"},
      {"C=12.34;", R"({"t":"C","v":123400})"},
      {"D=12:0:0.0;", R"({"t":"D","v":0.5})"},
      {"BS=2\"\x01\xff\";", R"({"t":"BS","hex":"01ff"})"},
      {"BA=;", R"({"t":"BA","hex":""})"},
      {"E=16\"#3:Access denied\";", R"({"t":"E","code":3,"msg":"Access denied"})"},
      {"E=36\"#7:oops\r\n\r\n--=:eRr.dAtA:=--\r\n\r\nI=12;\";",
       R"({"t":"E","code":7,"msg":"oops","data":{"t":"I","v":12}})"},
      {"AR=2;X=;I=1;", R"({"t":"AR","items":[{"t":"X"},{"t":"I","v":1}]})"},
      {"RE=1;:3\"a:b\":B=;", R"({"t":"RE","fields":[["a:b",{"t":"B","v":false}]]})"},
      {"FC=youthere;RE=0;", R"({"t":"FC","name":"youthere","fields":[]})"},
      {"DS=1;DOC_ID:I,0,F;ROWS=2;RE=1;DOC_ID:I=4711;X=;",
       R"({"t":"DS","fields":[["DOC_ID","I",0,false]],"rows":[[["DOC_ID",{"t":"I","v":4711}]],null]})"},
  };
  for (const auto& [code, text] : cases) {
    EXPECT_EQ(ValueToJsonText(TRpcValue::FromCode(code)), text) << code;
    EXPECT_EQ(ValueFromJson(nlohmann::ordered_json::parse(text)).toCode(), code) << text;
  }
}

TEST(ValueJson, RefusesWhatIsNoValue) {
  for (const char* text : {R"({"v":1})", R"({"t":"Q"})", R"({"t":"I","v":"1"})", R"({"t":"I","v":4294967296})",
                           R"({"t":"S","hex":"0"})", R"({"t":"S","hex":"zz"})", R"({"t":"RE","fields":[["a"]]})",
                           R"({"t":"DS","fields":[["a","??",0,false]],"rows":[]})", "[1]"}) {
    EXPECT_THROW(ValueFromJson(nlohmann::ordered_json::parse(text)), ERpcInfo) << text;
  }
}

}  // namespace
}  // namespace quillorn::transport
