#pragma once

/// Generation errors are symbolic links whose text is the code: made whole by one call, never followed by anything.
/// They have names of their own beside the blocks' names, so removing one can never remove data. Data that is alive
/// under the Guid always comes first.
///
/// An error has no holder. It goes when data is put under its Guid, and all of them go when no client is left, which
/// the presence locks tell (Presence.h).

#include "Directory.h"
#include "sharehub.h"

#include <optional>

namespace framebroker {

Result PutGenerationError(const Directory& directory, const Guid& id, std::int32_t code);

/// The code under a Guid, whether or not data is alive under it.
std::optional<std::int32_t> ReadGenerationError(const Directory& directory, const Guid& id);

void RemoveGenerationError(const Directory& directory, const Guid& id);

/// Removes all generation errors; only for whoever knows that no client is left.
void RemoveAllGenerationErrors(const Directory& directory);

} // namespace framebroker
