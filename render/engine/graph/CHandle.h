#pragma once

#include <memory>

namespace ondrel {

// The deleter of a CHandle: calls the library's own release function.
template <auto Release>
struct CHandleRelease {
    template <typename T>
    void operator()(T* handle) const {
        Release(handle);
    }
};

// A C library's handle, owned: released by `Release` (a function taking the
// pointer, such as sf_close or soxr_delete) when the handle is reset or goes
// out of scope, and on no other path.
template <typename T, auto Release>
using CHandle = std::unique_ptr<T, CHandleRelease<Release>>;

} // namespace ondrel
