// To be preloaded: lets one allocation fail.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

/// In the file that $FAILING_NEW names: the how-manieth allocation from now on is to fail; 0, and
/// less, for none.
std::atomic<std::int64_t>& countdown() {
  static auto& shared = [&]() -> auto& {
    const int file = ::open(std::getenv("FAILING_NEW"), O_RDWR | O_CLOEXEC);
    void* memory =
        ::mmap(nullptr, sizeof(std::int64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) std::abort();
    ::close(file);
    return *static_cast<std::atomic<std::int64_t>*>(memory);
  }
  ();
  return shared;
}

}  // namespace

void* operator new(std::size_t size) {
  if (countdown() > 0 && countdown()-- == 1) throw std::bad_alloc();
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
