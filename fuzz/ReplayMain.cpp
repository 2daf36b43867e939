// Runs a fuzz target over stored inputs: the main() of a build without a fuzzing engine.
//
//   fuzz-<Name> PATH...
//
// Every PATH is an input file or a directory of them. A run without a single input fails, so that
// a lost corpus is noticed.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputFiles(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  return files;
}

bool replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", file.c_str());
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  // An exact allocation lets the address sanitizer see a read behind the input.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; i++) {
    for (const fs::path& file : inputFiles(argv[i])) {
      if (!replay(file)) return 1;
      count++;
    }
  }
  std::printf("%zu inputs replayed\n", count);
  return count == 0 ? 1 : 0;
}
