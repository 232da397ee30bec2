#pragma once

#include <cstdint>
#include <string>

namespace LagAgent {

/**
 * An open PD library and a session in it.
 *
 * The library is never closed, since the driver's state machine lives, and refers to it, for the
 * rest of the process; the session is closed at the end.
 */
class PdLibrary {
  public:
    /// Opens the library of that path, or where it is empty the software ASIC near the executable,
    /// and a session. Throws `CommandError` when the library cannot be opened, lacks an operation
    /// that the driver needs, or opens no session.
    explicit PdLibrary(const std::string& path);
    ~PdLibrary();
    PdLibrary(const PdLibrary&) = delete;
    PdLibrary& operator=(const PdLibrary&) = delete;

    const std::string& path() const noexcept { return path_; }
    void* handle() const noexcept { return handle_; }
    /// 0, which is always open, when the library has no sessions to open.
    std::uint32_t session() const noexcept { return session_; }

    /// The library's function of that name, or null.
    template <class Function>
    Function* function(const char* name) const {
        return reinterpret_cast<Function*>(symbol(name));
    }

  private:
    void* symbol(const char* name) const;

    std::string path_;
    void* handle_;
    std::uint32_t session_ = 0;
};

} // namespace LagAgent
