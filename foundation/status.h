// The one table of document status letters: the caption the status panel shows
// and the number of the status picture. Pure lookups; never touches a document.
#pragma once

#include <string>
#include <string_view>

namespace quillorn::foundation {

// The caption for the first character of `Status`; an empty `Status` gives "".
// A letter not in the table leaves `Result` as the caller had it.
std::string StatusCaption(std::string_view Status, std::string Result = {});

// Position (from 1) of the first character in "AWREPDN!C " plus 199; a letter
// that isn't there gives 199, for which no picture exists.
int StatusImageIndex(std::string_view Status) noexcept;

}  // namespace quillorn::foundation
