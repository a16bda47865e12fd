// The values of Office's own enumerations that the add-in passes to or reads
// from a host, under Office's names with our k prefix, in one place. The
// simulated hosts read the same values, so a wrong number here fails in both.
#pragma once

#include <cstdint>

namespace quillorn::platform {

// Office (mso...): shared by every host.
inline constexpr std::int32_t kMsoTrue = -1;
inline constexpr std::int32_t kMsoPropertyTypeString = 4;
inline constexpr std::int32_t kMsoTextOrientationHorizontal = 1;
inline constexpr std::int32_t kMsoThemeColorText2 = 15;
inline constexpr std::int32_t kMsoLineDash = 4;
inline constexpr std::int32_t kMsoTextBox = 17;

// Word (wd...).
inline constexpr std::int32_t kWdNoProtection = -1;
inline constexpr std::int32_t kWdAllowOnlyFormFields = 2;
inline constexpr std::int32_t kWdFormatXMLTemplate = 14;
inline constexpr std::int32_t kWdFormatPDF = 17;
inline constexpr std::int32_t kWdDoNotSaveChanges = 0;
inline constexpr std::int32_t kWdHeaderFooterPrimary = 1;
inline constexpr std::int32_t kWdHeaderFooterFirstPage = 2;
inline constexpr std::int32_t kWdAlignParagraphCenter = 1;
inline constexpr std::int32_t kWdFieldDocProperty = 85;
inline constexpr std::int32_t kWdPropertyCompany = 21;
inline constexpr std::int32_t kWdRevisionsViewFinal = 0;
inline constexpr std::int32_t kWdMainTextStory = 1;

// Excel (xl...).
inline constexpr std::int32_t kXlTypePDF = 0;

// PowerPoint (pp...).
inline constexpr std::int32_t kPpAlignCenter = 2;
inline constexpr std::int32_t kPpLayoutBlank = 12;
inline constexpr std::int32_t kPpFixedFormatTypePDF = 2;
inline constexpr std::int32_t kPpFixedFormatIntentPrint = 2;
inline constexpr std::int32_t kPpPrintHandoutHorizontalFirst = 2;
inline constexpr std::int32_t kPpPrintOutputSlides = 1;
inline constexpr std::int32_t kPpPrintAll = 1;
inline constexpr std::int32_t kPpSaveAsOpenXMLPresentation = 24;
inline constexpr std::int32_t kPpSaveAsPDF = 32;

}  // namespace quillorn::platform
