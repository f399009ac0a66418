// Whether a run is found to have grown when it has, and only then.

#include "recording.h"

#include <gtest/gtest-spi.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace ncdm_test {
namespace {

constexpr std::size_t kRounds = 300;
constexpr std::size_t kPage = 4096;

class RecordingTest : public testing::Test {
 protected:
  template <typename Round>
  void Run(Round round, std::size_t rounds = kRounds) {
    for (std::size_t i = 0; i < rounds; ++i) {
      round(i);
      recording_.Sample();
    }
  }

  Recording recording_{kRounds, ""};
};

TEST_F(RecordingTest, ARunThatLeavesNothingIsFlat) {
  Run([](std::size_t round) { std::vector<char>(round * kPage, 'x'); });
  recording_.ExpectFlat();
}

// A little more than a megabyte at the end.
TEST_F(RecordingTest, APageARoundIsGrowth) {
  if (kIsSanitized) GTEST_SKIP() << "a sanitizer's memory is not judged";
  char* const pages = static_cast<char*>(
      mmap(nullptr, kRounds * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(pages, MAP_FAILED);
  madvise(pages, kRounds * kPage, MADV_NOHUGEPAGE);
  Run([pages](std::size_t round) { pages[round * kPage] = 'x'; });
  EXPECT_NONFATAL_FAILURE(recording_.ExpectFlat(), "resident_bytes");
  munmap(pages, kRounds * kPage);
}

TEST_F(RecordingTest, AKilobyteOfHeapARoundIsGrowth) {
  std::vector<std::unique_ptr<char[]>> kept(kRounds);
  Run([&kept](std::size_t round) { kept[round] = std::make_unique<char[]>(1024); });
  EXPECT_NONFATAL_FAILURE(recording_.ExpectFlat(), "heap_bytes");
}

TEST_F(RecordingTest, ADescriptorARoundIsGrowth) {
  std::vector<int> kept(kRounds);
  Run([&kept](std::size_t round) { kept[round] = dup(STDOUT_FILENO); });
  EXPECT_NONFATAL_FAILURE(recording_.ExpectFlat(), "descriptors");
  for (const int fd : kept) close(fd);
}

// One piece in use keeps megabytes below it from being given back, or not, as it happened to be
// made behind or before what is free.
TEST_F(RecordingTest, WhatTheAllocatorHoldsFreeIsNoGrowth) {
  constexpr std::size_t kFewRounds = 32;
  constexpr std::size_t kPieces = 32;
  constexpr std::size_t kPiece = std::size_t{64} * 1024;
  std::unique_ptr<char[]> in_use;
  Run(
      [&in_use](std::size_t round) {
        in_use.reset();
        const bool is_behind = round >= kFewRounds / 2;
        if (!is_behind) in_use = std::make_unique<char[]>(kPiece);
        std::vector<std::unique_ptr<char[]>> pieces(kPieces);
        for (auto& piece : pieces) piece = std::make_unique<char[]>(kPiece);
        if (is_behind) in_use = std::make_unique<char[]>(kPiece);
      },
      kFewRounds);
  recording_.ExpectFlat();
}

}  // namespace
}  // namespace ncdm_test
