#include "TovoSystem/Services/LiveIdentity.hpp"

namespace tovo {

bool liveIdentityMatches(const BlockingProcess& process, const ProcessMetadataProviding& provider) {
    const auto live = provider.metadata(process.pid);
    return live && liveIdentityMatches(process, *live);
}

bool liveIdentityMatches(const BlockingProcess& process, const ProcessMetadata& live) {
    return process.userID && *process.userID == live.userID && process.parentPID &&
           *process.parentPID == live.parentPID && process.executablePath == live.executablePath &&
           process.startTime && *process.startTime == live.startTime;
}

} // namespace tovo
