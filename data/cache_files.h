// Stored files taken out of the cache into files of their own: a template's
// source and the organisation's logo, under fresh names in the cache folder; and
// the plain file copy the workflow uses. Never deletes a file it didn't make,
// and never asks the server for a template the cache holds in its latest revision.
#pragma once

#include <cstdint>
#include <string>

#include "data/tdm.h"
#include "platform/system_services.h"

namespace quillorn::data {

// CacheDir, Prefix and the tick count in twelve hexadecimal digits, asked again
// until no such file exists. Raises when the clock stands still for too long.
std::string NewCacheFileName(const std::string& CacheDir, const std::string& Prefix,
                             platform::SystemServices& System);

// The template DocNo as a file in the cache folder ("cms..."), fetched from the
// server when the server holds a later revision or the cache none; "" when no
// source is stored. A failed server call raises to the caller.
std::string GetTemplateFile(Tdm& dm, platform::SystemServices& System, std::int32_t DocNo);

// The logo as a file in the cache folder ("logo..."), deleted with the module;
// "" when there is no logo.
std::string GetLogoFile(Tdm& dm, platform::SystemServices& System);

// Copies Source over Dest.
void FastFileCopy(platform::SystemServices& System, const std::string& Source, const std::string& Dest);

}  // namespace quillorn::data
