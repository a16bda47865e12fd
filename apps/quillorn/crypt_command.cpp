// `quillorn wire crypt`: runs the session cipher over stdin, for support
// engineers who hold a captured body and the key that enciphered it.
#include <iostream>
#include <iterator>
#include <string>

#include "apps/quillorn/commands.h"
#include "transport/rpc_crypt.h"

namespace quillorn::apps {

void RegisterWireCryptCommand(CLI::App& wire) {
  auto* crypt = wire.add_subcommand("crypt", "encipher (or decipher) stdin with a fresh session cipher");
  auto key = std::make_shared<std::string>();
  auto decrypt = std::make_shared<bool>(false);
  crypt->add_option("--key", *key, "the cipher's key, as bytes")->required();
  crypt->add_flag("--decrypt", *decrypt, "decipher instead of encipher");
  crypt->callback([key, decrypt] {
    std::cin >> std::noskipws;
    std::string data((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
    transport::TRpcCrypt cipher(*key);
    if (*decrypt) {
      cipher.Decrypt(data);
    } else {
      cipher.Encrypt(data);
    }
    std::cout.write(data.data(), static_cast<std::streamsize>(data.size()));
    std::cout.flush();
  });
}

}  // namespace quillorn::apps
