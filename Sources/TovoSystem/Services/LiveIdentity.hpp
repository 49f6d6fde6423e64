#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

namespace tovo {

/// True only when the pid still names the reviewed process: live metadata exists
/// and user id, parent id and start time are known and equal, and the executable
/// paths are equal (absent equals only absent).
bool liveIdentityMatches(const BlockingProcess& process, const ProcessMetadataProviding& provider);

/// The same comparison against metadata already read.
bool liveIdentityMatches(const BlockingProcess& process, const ProcessMetadata& live);

} // namespace tovo
