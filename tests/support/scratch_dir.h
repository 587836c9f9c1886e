// A folder for the files of one test, removed with all that is in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include "ulmar/host/error.h"

namespace ulmar::test {

class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = testing::TempDir() + "ulmar-test-XXXXXX";
    path_ = mkdtemp(pattern.data());
  }
  ~ScratchDir() { std::filesystem::remove_all(path_); }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

  std::set<std::string> names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::filesystem::path path_;
};

inline std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeBytes(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// The sentence of the Error that a call throws; fails the test if it throws none.
template <class Call>
std::string refusalOf(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  ADD_FAILURE() << "no refusal";
  return "";
}

/// Holds a refusal to its form: one sentence that names all that is expected of it.
inline void expectSentence(const std::string& sentence,
                           std::initializer_list<std::string> parts) {
  EXPECT_EQ(sentence.find('\n'), std::string::npos) << sentence;
  for (const std::string& part : parts) {
    EXPECT_NE(sentence.find(part), std::string::npos)
        << '"' << part << "\" is not in: " << sentence;
  }
}

}  // namespace ulmar::test
