// The demo organisation of the reference server: the tables the client reads
// and writes, a dozen users in groups of different rights, the codes the
// client is configured by, documents in every status and of every kind, a
// template, a web form and a logo. Only ever fills an empty store; a store
// that holds tables already is left exactly as it is.
#pragma once

#include <cstdint>
#include <string_view>

#include "server/store.h"

namespace quillorn::server {

// The name `quillorn-server --seed` and the simulator know this data by.
inline constexpr std::string_view kDemoSeedName = "demo";

// Who is who in the demo organisation; every login's password is kDemoPassword.
inline constexpr std::int32_t kDemoAuthorId = 1;    // "JSMITH", may edit, approve and check out
inline constexpr std::int32_t kDemoReaderId = 2;    // "PBROWN", may view and print only
inline constexpr std::int32_t kDemoApproverId = 3;  // "MOKAFOR", approves through her group only
inline constexpr std::int32_t kDemoWebUserId = 13;  // "PORTAL", the intranet portal's own login
inline constexpr std::string_view kDemoPassword = "demo";

// The demo documents by id.
inline constexpr std::int32_t kDemoPolicyId = 1001;           // Word, newly imported: the typical road
inline constexpr std::int32_t kDemoProcedureId = 1002;        // Word, approved and current
inline constexpr std::int32_t kDemoRegisterId = 1003;         // Excel, being edited
inline constexpr std::int32_t kDemoSlidesId = 1004;           // PowerPoint, waiting to be edited
inline constexpr std::int32_t kDemoWorkInstructionId = 1005;  // Word, being edited, checked out in the story
inline constexpr std::int32_t kDemoWebFormId = 1012;          // Word, approved, published as a web form
inline constexpr std::int32_t kDemoLeafletId = 1013;          // Publisher, approved
inline constexpr std::int32_t kDemoTemplateId = 1014;         // Word, the approved letterhead template

// Creates the server's tables and fills them with the demo organisation.
// Returns false, changing nothing, when the store has a DOCS table already.
bool SeedDemo(ServerStore& store);

}  // namespace quillorn::server
