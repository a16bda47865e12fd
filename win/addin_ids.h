// The add-in's identity in COM and in Office: class, interface and library ids
// (chosen for this product; never reuse them for anything else), the ProgID the
// Office hosts load it by, and the texts its type library carries.
#pragma once

#include <windows.h>

namespace quillorn::win {

// {5B3F2C61-9D84-4E2A-A7C1-3E6D0F8B4A17}
inline constexpr GUID kLibId = {0x5b3f2c61, 0x9d84, 0x4e2a, {0xa7, 0xc1, 0x3e, 0x6d, 0x0f, 0x8b, 0x4a, 0x17}};
// {C84E1A29-6F0B-4D73-9E25-71B0A3D6C548}
inline constexpr GUID kIID_IQuillornInterface = {0xc84e1a29, 0x6f0b, 0x4d73, {0x9e, 0x25, 0x71, 0xb0, 0xa3, 0xd6, 0xc5, 0x48}};
// {2E97D5B0-4C18-4B6F-8A3D-9F1C62E07B85}
inline constexpr GUID kCLSID_QuillornInterface = {0x2e97d5b0, 0x4c18, 0x4b6f, {0x8a, 0x3d, 0x9f, 0x1c, 0x62, 0xe0, 0x7b, 0x85}};

// The Office add-in interface every COM add-in implements.
inline constexpr GUID kIID_IDTExtensibility2 = {0xb65ad801, 0xabaf, 0x11d0, {0xbb, 0x8b, 0x00, 0xa0, 0xc9, 0x0f, 0x27, 0x44}};

inline constexpr wchar_t kProgId[] = L"QuillornAddIn.QuillornInterface";
inline constexpr wchar_t kLibraryName[] = L"QuillornAddIn";
inline constexpr wchar_t kLibraryHelp[] = L"QuillornAddIn Library";
inline constexpr wchar_t kInterfaceName[] = L"IQuillornInterface";
inline constexpr wchar_t kInterfaceHelp[] = L"Dispatch interface for QuillornInterface Object";
inline constexpr wchar_t kCoClassName[] = L"QuillornInterface";
inline constexpr wchar_t kCoClassHelp[] = L"QuillornInterface Object";
inline constexpr WORD kLibraryMajor = 1;
inline constexpr WORD kLibraryMinor = 0;

// The type library written beside the module at registration.
inline constexpr wchar_t kTypeLibraryFile[] = L"QuillornAddIn.tlb";

}  // namespace quillorn::win
