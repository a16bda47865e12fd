// The stored files of the demo organisation: its logo picture, the file of its
// letterhead template and the published package of its web form, made in code
// so that the seed needs no files beside the program. Never touches a store.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillorn::server {

// The logo: a PNG picture of kDemoLogoWidth by kDemoLogoHeight pixels, a teal
// mark with an amber quill beside three bars of lettering, in three colours.
inline constexpr int kDemoLogoWidth = 96;
inline constexpr int kDemoLogoHeight = 32;
std::string DemoLogoPng();

// The letterhead template as the simulated Word opens it: a logo shape
// "qllogo1" and the organisation's name in the primary header, the document's
// number, name and revision as fields in the primary footer, a blank body.
std::string DemoTemplateDocument();

// The web form's fields: the placeholder names in its page, ordered by name as
// the form record lists them, with the captions its users see.
struct DemoWebField {
  std::string_view Name;
  std::string_view FriendlyName;
};
inline constexpr DemoWebField kDemoWebFormFields[] = {
    {"AUTONO", "Report number"}, {"CHECK1", "First aid given"}, {"DATE1", "Date of incident"},
    {"MEMO1", "What happened"},  {"SAVEBTN", "Submit report"},  {"TEXT1", "Reported by"},
    {"TEXT2", "Location"},
};

// The web form's package, as the save of a form leaves it: a zip of the page
// `pageName` (with a placeholder for each field above) and of the page's
// resource list, in the folder named like the page with "_files".
std::string DemoWebFormPackage(std::string_view pageName, std::string_view title);

}  // namespace quillorn::server
