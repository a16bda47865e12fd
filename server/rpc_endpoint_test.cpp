#include "server/rpc_endpoint.h"

#include <gtest/gtest.h>

#include <string>

#include "server/function_table.h"
#include "transport/codec.h"
#include "transport/control_key.h"

namespace quillorn::server {
namespace {

using transport::TRpcCrypt;

// The client's half of the exchange, written out step by step so that the
// server is checked against the rules and not against the client module.
struct HandClient {
  std::string client_hello = std::string("\x01\r\x03\x04\x05\x06\x07\x08", 8);  // holds a byte 13
  std::string client_key = "ABCDEFGH";
  std::string server_hello, server_key, id;
  TRpcCrypt write, read;
  std::int32_t counter = 0;
};

class RpcEndpointTest : public ::testing::Test {
 protected:
  RpcEndpointTest()
      : endpoint_(EndpointOptions{}, [this](std::string_view code) { return functions_.Process(code); }) {
    RegisterDefaultFunctions(functions_);
  }

  void Handshake(HandClient& c) {
    std::string key = transport::NewControlKey(c.counter);
    std::string body = c.client_hello + "\r" + key;
    TRpcCrypt("K7r@vQ2x").Encrypt(body);
    EndpointReply hello = endpoint_.Handle({"HELLO", "NEW", body});
    ASSERT_EQ(hello.Status, 200);
    ASSERT_FALSE(hello.SetCookie.empty());
    c.id = hello.SetCookie;
    TRpcCrypt(c.client_hello).Decrypt(hello.Body);
    ASSERT_EQ(hello.Body.size(), 8 + key.size());
    EXPECT_EQ(hello.Body.substr(8), key);
    c.server_hello = hello.Body.substr(0, 8);

    key = transport::NewControlKey(c.counter);
    body = c.client_key + "\r" + key;
    TRpcCrypt(c.server_hello).Encrypt(body);
    EndpointReply start = endpoint_.Handle({"START", c.id, body});
    ASSERT_EQ(start.Status, 200);
    EXPECT_TRUE(start.SetCookie.empty());
    c.read.SetKey(c.client_key + c.server_hello);
    c.read.Decrypt(start.Body);
    ASSERT_EQ(start.Body.substr(8), key);
    c.server_key = start.Body.substr(0, 8);
    c.write.SetKey(c.server_key + c.client_hello);
  }

  // One call on the running streams; returns the reply's clear bytes.
  EndpointReply Call(HandClient& c, const std::string& code, std::string& clear, std::string& key,
                     const std::string& action = "") {
    key = transport::NewControlKey(c.counter);
    std::string body = transport::BuildBody(code, transport::TRpcCompressLevel::cMax, &c.write, key);
    EndpointReply reply = endpoint_.Handle({action, c.id, body});
    clear = reply.Body;
    if (reply.Status == 200) c.read.Decrypt(clear);
    return reply;
  }

  FunctionTable functions_;
  RpcEndpoint endpoint_;
};

// Calls that go well, enciphered or clear, are the end-to-end tests' to show with the real client;
// what only a hand-made client can send is here.
TEST_F(RpcEndpointTest, RequestsOutOfOrderOrStepGetTheirStatuses) {
  HandClient c;
  // A call before any handshake, and one under an unknown session.
  EXPECT_EQ(endpoint_.Handle({"", "NEW", "FC=youthere;RE=0;"}).Status, 412);
  EXPECT_EQ(endpoint_.Handle({"", "nosuch", "FC=youthere;RE=0;"}).Status, 410);
  EXPECT_EQ(endpoint_.Handle({"START", "nosuch", "x"}).Status, 410);
  // A HELLO that doesn't decipher to a key half and a control key.
  EXPECT_EQ(endpoint_.Handle({"HELLO", "NEW", "plainly wrong"}).Status, 417);
  EXPECT_EQ(endpoint_.SessionCount(), 0u);

  Handshake(c);
  // Bytes enciphered on a stream that the server's isn't: out of step.
  TRpcCrypt stray("not the key");
  std::string body = transport::BuildBody("FC=youthere;RE=0;", transport::TRpcCompressLevel::cNone, &stray,
                                          "680112345");
  EXPECT_EQ(endpoint_.Handle({"", c.id, body}).Status, 409);

  // A RESET restarts both of the server's streams from the stored keys.
  c.write.SetKey(c.server_key + c.client_hello);
  c.read.SetKey(c.client_key + c.server_hello);
  std::string clear, key;
  ASSERT_EQ(Call(c, "FC=youthere;RE=0;", clear, key, "RESET").Status, 200);
  EXPECT_EQ(clear, "B=T;\r" + key);
  ASSERT_EQ(Call(c, "FC=nosuch;RE=0;", clear, key).Status, 200);
  EXPECT_EQ(clear, "E=24\"Unknown function: nosuch\";\r" + key);

  EXPECT_TRUE(endpoint_.ExpireSession(c.id));
  EXPECT_EQ(Call(c, "FC=youthere;RE=0;", clear, key).Status, 410);
}

}  // namespace
}  // namespace quillorn::server
