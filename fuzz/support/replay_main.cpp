// Runs a fuzz target's entry function over corpus files without libFuzzer, so every build
// (gcc included) replays the corpora as regression inputs. Arguments are files or directories
// (their regular files, in name order); one that does not exist is skipped, as a target may
// have no committed corpus yet, but a run that finds no input at all fails, so corpora that
// went missing do not pass unnoticed.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> InputsOf(const fs::path& argument) {
  if (!fs::exists(argument)) return {};
  if (!fs::is_directory(argument)) return {argument};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(argument)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<uint8_t> ReadAll(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const fs::path& file : InputsOf(argv[i])) {
      const std::vector<uint8_t> bytes = ReadAll(file);
      // A copy of exactly the input's size, so the sanitizers see a read past its end.
      std::vector<uint8_t> exact(bytes);
      LLVMFuzzerTestOneInput(exact.data(), exact.size());
      ++count;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  if (count == 0) {
    std::fprintf(stderr, "no inputs found\n");
    return 1;
  }
  return 0;
}
