#include "transport/rpc_node_pool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace quillorn::transport {
namespace {

struct Block {
  unsigned char* data;
  std::size_t size;
  unsigned char mark;
};

// Fills every block with its own mark, so that two blocks that overlap show up
// as a wrong byte when they are checked.
std::vector<Block> AllocateMarked(std::size_t size, int count, unsigned char first_mark) {
  std::vector<Block> blocks;
  for (int i = 0; i < count; ++i) {
    const auto mark = static_cast<unsigned char>(first_mark + i);
    auto* data = static_cast<unsigned char*>(PoolAllocate(size));
    std::memset(data, mark, size);
    blocks.push_back(Block{data, size, mark});
  }
  return blocks;
}

bool Intact(const Block& b) {
  for (std::size_t i = 0; i < b.size; ++i) {
    if (b.data[i] != b.mark) return false;
  }
  return true;
}

TEST(NodePool, BlocksOfEachClassAreAlignedAndDisjoint) {
  // The edges of the classes: 16-byte steps, powers of two, the heap beyond.
  for (const std::size_t size : {std::size_t{1}, std::size_t{16}, std::size_t{17}, std::size_t{255},
                                 std::size_t{256}, std::size_t{257}, std::size_t{1000}, kMaxPooledSize,
                                 kMaxPooledSize + 1}) {
    auto blocks = AllocateMarked(size, 200, 1);
    std::set<void*> distinct;
    for (const auto& b : blocks) {
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b.data) % 16, 0u) << size;
      distinct.insert(b.data);
    }
    EXPECT_EQ(distinct.size(), blocks.size()) << size;
    for (const auto& b : blocks) EXPECT_TRUE(Intact(b)) << size;
    // Freed blocks come back for the next requests of the class, still disjoint.
    for (std::size_t i = 0; i < blocks.size(); i += 2) PoolFree(blocks[i].data, size);
    auto again = AllocateMarked(size, 100, 101);
    for (std::size_t i = 1; i < blocks.size(); i += 2) EXPECT_TRUE(Intact(blocks[i])) << size;
    for (const auto& b : again) EXPECT_TRUE(Intact(b)) << size;
    for (std::size_t i = 1; i < blocks.size(); i += 2) PoolFree(blocks[i].data, size);
    for (const auto& b : again) PoolFree(b.data, size);
  }
}

TEST(NodePool, BlocksFreedOnAnotherThreadAreReused) {
  // A worker decodes and the caller frees: far more than one thread keeps, so
  // that batches pass through the shared store, and the worker ends in between.
  constexpr int kCount = 100000;
  std::vector<Block> made;
  std::thread worker([&] { made = AllocateMarked(48, kCount, 0); });
  worker.join();
  for (const auto& b : made) ASSERT_TRUE(Intact(b));
  for (const auto& b : made) PoolFree(b.data, b.size);

  std::vector<Block> second;
  std::thread other([&] {
    second = AllocateMarked(48, kCount, 7);
    // Half of them go back here before the thread ends; its lists pass to the store.
    for (int i = 0; i < kCount; i += 2) PoolFree(second[static_cast<std::size_t>(i)].data, 48);
  });
  other.join();
  auto third = AllocateMarked(48, kCount / 2, 9);
  for (int i = 1; i < kCount; i += 2) EXPECT_TRUE(Intact(second[static_cast<std::size_t>(i)]));
  for (const auto& b : third) EXPECT_TRUE(Intact(b));
  for (int i = 1; i < kCount; i += 2) PoolFree(second[static_cast<std::size_t>(i)].data, 48);
  for (const auto& b : third) PoolFree(b.data, b.size);
}

}  // namespace
}  // namespace quillorn::transport
