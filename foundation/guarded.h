// The error frame of a routine that must go on: a block whose failure goes to
// the exception log under the routine's text, or one whose failure is expected
// and swallowed. Nothing leaves either, so host events never see a host error.
#pragma once

#include <exception>
#include <string_view>

#include "foundation/log.h"

namespace quillorn::foundation {

template <typename F>
void Guarded(std::string_view msg, F&& body) noexcept {
  try {
    body();
  } catch (const std::exception& e) {
    LogException(e, msg);
  } catch (...) {
    LogException(nullptr, msg);
  }
}

// For the absent shape, the absent story, the unprotected document.
template <typename F>
void Quietly(F&& body) noexcept {
  try {
    body();
  } catch (...) {
  }
}

}  // namespace quillorn::foundation
