// `quillorn wire decode|encode`: code bytes to their JSON picture and back, one
// JSON document per line, for support engineers looking at delta files and bodies.
#include <iostream>
#include <iterator>
#include <string>

#include "apps/quillorn/commands.h"
#include "transport/codec.h"
#include "transport/value_json.h"

namespace quillorn::apps {
namespace {

int Decode() {
  const std::string code{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  std::int64_t at = 0;
  try {
    while (at < static_cast<std::int64_t>(code.size())) {
      const auto value = transport::TRpcValue::FromCode(code, at);
      std::cout << transport::ValueToJsonText(value) << "\n";
    }
  } catch (const transport::ERpcInfo& e) {
    std::cout.flush();
    std::cerr << e.what() << "\n";
    return 2;
  }
  return 0;
}

int Encode() {
  transport::TRpcHugeString out;
  try {
    while (std::cin >> std::ws, std::cin.peek() != std::char_traits<char>::eof()) {
      nlohmann::ordered_json document;
      std::cin >> document;
      transport::EncodeObject(transport::ValueFromJson(document).Get(), out);
    }
  } catch (const transport::ERpcInfo& e) {
    std::cerr << e.what() << "\n";
    return 2;
  } catch (const nlohmann::json::exception& e) {
    std::cerr << e.what() << "\n";
    return 2;
  }
  const std::string code = out.Join();
  std::cout.write(code.data(), static_cast<std::streamsize>(code.size()));
  std::cout.flush();
  return 0;
}

}  // namespace

void RegisterWireCommands(CLI::App& app) {
  CLI::App* wire = app.add_subcommand("wire", "the remote calls' byte code: decode, encode, crypt");
  wire->require_subcommand(1);
  wire->add_subcommand("decode", "read code bytes on stdin, print each value as one line of JSON")
      ->callback([] {
        if (const int status = Decode(); status != 0) throw CLI::RuntimeError(status);
      });
  wire->add_subcommand("encode", "read JSON values on stdin, write their code bytes")->callback([] {
    if (const int status = Encode(); status != 0) throw CLI::RuntimeError(status);
  });
  RegisterWireCryptCommand(*wire);
}

}  // namespace quillorn::apps
