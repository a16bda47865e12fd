#include "transport/rpc_node_pool.h"

#include <cstdint>
#include <vector>

#include "foundation/thread_annotations.h"

namespace quillorn::transport {
namespace {

// Under the address sanitizer every block goes to the heap, so that a node used
// after it was freed is caught instead of hidden in a free list.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPassThrough = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPassThrough = true;
#else
constexpr bool kPassThrough = false;
#endif
#else
constexpr bool kPassThrough = false;
#endif

// Classes of 16-byte steps up to 256, then powers of two up to kMaxPooledSize.
constexpr int kSmallClasses = 16;
constexpr int kClasses = kSmallClasses + 4;  // 512, 1024, 2048, 4096
constexpr std::size_t kRegionSize = 256 * 1024;
// The most a thread keeps per class before it hands a batch to the shared store.
constexpr std::size_t kKeepBytes = 512 * 1024;

int ClassOf(std::size_t size) noexcept {
  if (size <= 256) return size == 0 ? 0 : static_cast<int>((size + 15) / 16) - 1;
  int c = kSmallClasses;
  for (std::size_t s = 512; s < size; s <<= 1) ++c;
  return c;
}

std::size_t ClassSize(int c) noexcept {
  return c < kSmallClasses ? static_cast<std::size_t>(c + 1) * 16 : std::size_t{512} << (c - kSmallClasses);
}

struct FreeNode {
  FreeNode* next;
};

// A list that knows its tail and count, so that it moves between a thread and
// the shared store as a whole, without walking it.
struct FreeList {
  FreeNode* head = nullptr;
  FreeNode* tail = nullptr;
  std::size_t count = 0;
};

// Shared by all threads; never destroyed, so that nodes freed by static
// destructors at exit still find it.
struct Shared {
  foundation::Mutex lock;
  std::vector<FreeList> batches[kClasses] GUARDED_BY(lock);
  std::vector<void*> regions GUARDED_BY(lock);
};

Shared& TheShared() {
  static Shared* shared = new Shared;
  return *shared;
}

// Trivially destructible, so that it stays usable after the thread's flusher ran.
struct ThreadCache {
  FreeList lists[kClasses];
  char* bump = nullptr;
  char* bump_end = nullptr;
  bool registered = false;
  bool closed = false;
};

thread_local ThreadCache t_cache;

void GiveToShared(int c, const FreeList& list) noexcept {
  Shared& shared = TheShared();
  foundation::MutexLock guard(shared.lock);
  try {
    shared.batches[c].push_back(list);
  } catch (...) {
    // Without room to note the batch its blocks stay unused; nothing else is harmed.
  }
}

struct Flusher {
  Flusher() = default;
  Flusher(const Flusher&) = delete;
  Flusher& operator=(const Flusher&) = delete;
  ~Flusher() {
    for (int c = 0; c < kClasses; ++c) {
      if (t_cache.lists[c].head != nullptr) GiveToShared(c, t_cache.lists[c]);
      t_cache.lists[c] = FreeList{};
    }
    // What is left of the bump region stays unused: it is at most one region per thread.
    t_cache.closed = true;
  }
};

thread_local Flusher t_flusher;

void* Refill(ThreadCache& cache, int c) {
  const std::size_t size = ClassSize(c);
  {
    Shared& shared = TheShared();
    foundation::MutexLock guard(shared.lock);
    auto& batches = shared.batches[c];
    if (!batches.empty()) {
      FreeList& list = cache.lists[c];
      list = batches.back();
      batches.pop_back();
      FreeNode* node = list.head;
      list.head = node->next;
      if (--list.count == 0) list.tail = nullptr;
      return node;
    }
    if (static_cast<std::size_t>(cache.bump_end - cache.bump) < size) {
      // The remains of the old region are lost; they are smaller than one block of this class.
      char* region = static_cast<char*>(::operator new(kRegionSize));
      shared.regions.push_back(region);
      cache.bump = region;
      cache.bump_end = region + kRegionSize;
    }
  }
  void* block = cache.bump;
  cache.bump += size;
  return block;
}

}  // namespace

void* PoolAllocate(std::size_t size) {
  if (kPassThrough || size > kMaxPooledSize) return ::operator new(size);
  ThreadCache& cache = t_cache;
  if (!cache.registered) {
    cache.registered = true;
    (void)&t_flusher;  // constructs it, so that the thread's lists are handed back when it ends
  }
  const int c = ClassOf(size);
  FreeList& list = cache.lists[c];
  if (FreeNode* node = list.head) {
    list.head = node->next;
    if (--list.count == 0) list.tail = nullptr;
#if defined(__GNUC__)
    // The next request reads the next block's link: a tree's blocks come back
    // cold and in no order, and this load is otherwise the pool's whole cost.
    __builtin_prefetch(list.head);
#endif
    return node;
  }
  return Refill(cache, c);
}

void PoolFree(void* block, std::size_t size) noexcept {
  if (block == nullptr) return;
  if (kPassThrough || size > kMaxPooledSize) {
    ::operator delete(block);
    return;
  }
  const int c = ClassOf(size);
  auto* node = static_cast<FreeNode*>(block);
  ThreadCache& cache = t_cache;
  if (cache.closed) {
    node->next = nullptr;
    GiveToShared(c, FreeList{node, node, 1});
    return;
  }
  FreeList& list = cache.lists[c];
  node->next = list.head;
  list.head = node;
  if (list.count++ == 0) list.tail = node;
  // A thread keeps a bounded amount; a full list goes to the shared store as one
  // batch, so that a thread that only frees (the caller of a worker's results) hoards nothing.
  if (list.count * ClassSize(c) >= kKeepBytes) {
    GiveToShared(c, list);
    list = FreeList{};
  }
}

}  // namespace quillorn::transport
