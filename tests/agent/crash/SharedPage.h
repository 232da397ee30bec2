#pragma once

#include <sys/mman.h>

#include <new>

namespace LagAgent::Crash {

/// An object that this process and those forked from it have in common. T is made of lock-free
/// atomics; nothing is destroyed.
template <class T>
class SharedPage {
  public:
    SharedPage() {
        void* const page =
            ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) {
            throw std::bad_alloc();
        }
        object_ = new (page) T{};
    }
    ~SharedPage() { ::munmap(object_, sizeof(T)); }
    SharedPage(const SharedPage&) = delete;
    SharedPage& operator=(const SharedPage&) = delete;

    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }

  private:
    T* object_;
};

} // namespace LagAgent::Crash
