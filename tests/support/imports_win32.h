// Functions that a loaded module imports, replaced for a while.
#pragma once

#include <windows.h>

namespace tarn::test {

class ReplacedImport {
  public:
    // Throws std::runtime_error when the module does not import the function by this name.
    ReplacedImport(const char *module, const char *function, FARPROC replacement);
    ~ReplacedImport();
    ReplacedImport(const ReplacedImport &) = delete;
    ReplacedImport &operator=(const ReplacedImport &) = delete;

    // What was called before.
    [[nodiscard]] FARPROC former() const { return former_; }

  private:
    FARPROC *slot_;
    FARPROC former_;
};

// Any function as what ReplacedImport takes.
template <typename Function>
FARPROC as_import(Function *function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void *>(function));
}

} // namespace tarn::test
