// What the portable layers read from Windows itself: a file's version from its
// version resource, the user's date and time formats from the locale. Install
// once, before the first log line or date is formatted; never shows anything.
#pragma once

#include <string>
#include <string_view>

#include "foundation/datetime.h"
#include "foundation/version.h"

namespace quillorn::platform {

// Hands both readers to foundation (SetVersionResourceReader, SetFormatSettingsReader).
void InstallPlatformReaders() noexcept;

// GetFileVersionInfoW of `file` ("" = this module) into `version`; left as it is
// when the file has no version resource.
void ReadVersionResource(const std::string& file, foundation::TFileVersion& version);

// The user's short date and long time formats, month and day names, AM and PM,
// by GetLocaleInfoEx. False when the locale gives no date format.
bool ReadLocaleFormatSettings(foundation::FormatSettings& settings);

// A Windows date or time picture ("d/M/yyyy", "HH:mm:ss tt") in the letters of
// our date formatter ("d/m/yyyy", "hh:nn:ss ampm"); literals are kept, quoted
// where they hold letters.
std::string FormatFromDatePicture(std::wstring_view picture);
std::string FormatFromTimePicture(std::wstring_view picture);

}  // namespace quillorn::platform
