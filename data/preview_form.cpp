#include "data/preview_form.h"

#include <exception>
#include <string>

#include "data/proc_name_scope.h"
#include "foundation/context.h"
#include "data/remote_catalogue.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

std::string PreviewServerHost(const std::string& Url) {
  // Only a plain "http://" is expected: a longer scheme leaves a slash in front.
  std::string host = Url.size() > 7 ? Url.substr(7) : std::string();
  const std::size_t colon = host.find(':');
  if (colon != std::string::npos) host.resize(colon);
  return host;
}

bool DoesPreviewFormExist(Tdm& dm, std::int32_t DocNo) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.DoesPreviewFormExist");
  auto& connection = dm.Connection;
  bool result = false;
  try {
    const std::string url =
        Tdm::MyVarToStrDef(dm.cacheLookup("select val from codes where d_type='WEB_SERVER' and code='URL'"), "");
    if (url.empty()) return false;
    const std::string port = Tdm::MyVarToStrDef(
        dm.cacheLookup("select val from codes where d_type='WEB_SERVER' and code='INFO_PORT'"), "");
    connection.RpcHttpClient.SetServerAddr(PreviewServerHost(url));
    connection.RpcHttpClient.SetServerPort(port);
    PrepareFormPreviewAvailable(connection.RpcClientModule, DocNo);
    const transport::TRpcValue reply = connection.RpcClientModule.Execute(true, dm.CurrentServerTimeout(), true);
    result = reply.ValueType() == transport::TRpcValueTypes::rpc_Boolean && reply.AsBoolean();
  } catch (const std::exception&) {
    result = false;
  }
  try {
    connection.RpcHttpClient.Disconnect();
  } catch (const std::exception&) {
  }
  return result;
}

}  // namespace quillorn::data
