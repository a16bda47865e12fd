// The organisation's logo in Word documents: shapes whose names begin with
// "qllogo" in the first section's headers and body take the logo picture, or a
// visible placeholder when there is none. Never shows a message; failures end
// in the log and leave the shapes that follow the failed one as they were.
#pragma once

#include <string>
#include <string_view>

#include "platform/variant.h"

namespace quillorn::automation {

inline constexpr char kLogoShapePrefix[] = "qllogo";
inline constexpr char kLogoPlaceholderText[] = "Your Logo goes here";

// The first six characters equal "qllogo", case counting.
bool IsLogoShapeName(std::string_view name);

// Word only. LogoFile is the local copy of the logo (Tdm.GetLogoFile), the
// empty text when none is stored.
void UpdateLogo(const platform::Variant& Doc, const std::string& LogoFile);

}  // namespace quillorn::automation
