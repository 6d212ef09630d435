// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

// Gives every file of the directory to the fuzz target, once. A directory without files is a mistake.
int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 2;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
    std::printf("%s\n", entry.path().filename().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++files;
  }
  return files > 0 ? 0 : 1;
}
