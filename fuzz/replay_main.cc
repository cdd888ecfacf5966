// Runs a fuzz target over files, without libFuzzer: each argument is a file, or a folder whose
// files are all run. Exits 1 if a path can't be read (a missing seed folder is a broken test).
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
bool RunFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A copy of exactly the input's size, so that the sanitizers see a read one byte past its end.
  std::vector<uint8_t> exact(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(exact.empty() ? nullptr : exact.data(), exact.size());
  return true;
}
}  // namespace

int main(int argc, char** argv) {
  int files = 0;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    std::filesystem::path path(argv[i]);
    if (std::filesystem::is_directory(path, ec)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file() && RunFile(entry.path())) ++files;
      }
    } else if (RunFile(path)) {
      ++files;
    } else {
      std::fprintf(stderr, "replay: cannot read %s\n", argv[i]);
      return 1;
    }
  }
  std::printf("replay: %d inputs ran\n", files);
  return files > 0 ? 0 : 1;
}
