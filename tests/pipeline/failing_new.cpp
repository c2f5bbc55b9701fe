#include "tests/pipeline/failing_new.h"

#include <cstdlib>
#include <new>

namespace {

constexpr int kNever = -1;
constexpr int kStruck = -2;
thread_local int countdown_to_failure = kNever;

bool Fails() {
  if (countdown_to_failure < 0) return false;
  if (countdown_to_failure == 0) {
    countdown_to_failure = kStruck;
    return true;
  }
  --countdown_to_failure;
  return false;
}

}  // namespace

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return Fails() ? nullptr : std::malloc(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t& tag) noexcept {
  return operator new(bytes, tag);
}
void* operator new(std::size_t bytes) {
  void* memory = operator new(bytes, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t bytes) {
  return operator new(bytes);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {  // after a constructor that throws
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace pexo::test {

FailingNew::FailingNew(int countdown) {
  countdown_to_failure = countdown;
}
FailingNew::~FailingNew() {
  countdown_to_failure = kNever;
}
bool FailingNew::Struck() {
  return countdown_to_failure == kStruck;
}

}  // namespace pexo::test
