#include "data/preview_form.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/data_test_support.h"

namespace quillorn::data {
namespace {

TEST(DoesPreviewFormExist, AsksTheInformationServiceAtTheWebServersHost) {
  // The web server's information service: a module path of its own, no cipher.
  server::ServerOptions options{.ModulePath = "/SvrInfo"};
  options.Endpoint.Encryption = false;
  server::FunctionTable functions;
  functions.Register("FormPreviewAvailable", [](const transport::TRpcRecord& params) {
    const int docNo = params.GetInteger("doc_no");
    return docNo == 6 ? transport::IntegerValue(1) : transport::BooleanValue(docNo == 5);
  });
  server::RpcServer info(options, std::move(functions));
  const std::string port = std::to_string(info.Start());
  struct Case {
    std::string url;
    int docNo = 5;
    bool expected = false;
    std::string infoPort;
  };
  for (const Case& c : {Case{.url = "http://127.0.0.1:8080/portal", .expected = true},
                        Case{.url = "http://127.0.0.1", .docNo = 7},
                        Case{.url = "http://127.0.0.1", .docNo = 6},  // not a Boolean
                        Case{.url = ""}, Case{.url = "https://127.0.0.1"},  // only the plain scheme is cut off
                        Case{.url = "http://127.0.0.1", .infoPort = std::to_string(testing::DeadPort())}}) {
    SCOPED_TRACE(c.url + " " + std::to_string(c.docNo));
    testing::Instance instance(testing::DeadPort());
    instance.dm->LoadFromCache(instance.dm->tblCodes);
    if (!c.url.empty()) instance.Cache("insert into CODES values ('WEB_SERVER', 'URL', '" + c.url + "')");
    instance.Cache("insert into CODES values ('WEB_SERVER', 'INFO_PORT', '" + (c.infoPort.empty() ? port : c.infoPort) +
                   "')");
    EXPECT_EQ(DoesPreviewFormExist(*instance.dm, c.docNo), c.expected);
  }
  EXPECT_EQ(PreviewServerHost("http://web1/portal") + " " + PreviewServerHost("https://web1:443") + " " +
                PreviewServerHost("http://"),
            "web1/portal /web1 ");
}

}  // namespace
}  // namespace quillorn::data
