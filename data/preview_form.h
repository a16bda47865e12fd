// Whether the web server holds a preview of a form, asked of its information
// service. Never raises and never changes the main connection: the question
// goes on the module's second client pair.
#pragma once

#include <cstdint>
#include <string>

#include "data/tdm.h"

namespace quillorn::data {

// The host of the web server's URL as the information service is reached: the
// URL without its first seven characters and without what follows a ":".
std::string PreviewServerHost(const std::string& Url);

// "FormPreviewAvailable" for DocNo at the host of the WEB_SERVER URL and its
// INFO_PORT, as the cached codes give them; false for no URL, any failure or
// any reply but a Boolean.
bool DoesPreviewFormExist(Tdm& dm, std::int32_t DocNo);

}  // namespace quillorn::data
