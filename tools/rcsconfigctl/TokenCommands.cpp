// Application tokens and UCE: set-app-token, token-fetch-status,
// uce-status, platform-mask.
#include <cstdio>

#include "AnswerCallbacks.h"
#include "CommandRunner.h"

namespace rcsctl {

using android::sp;

namespace {

std::string hex(uint32_t v) {
    char buf[16];
    std::snprintf(buf, sizeof(buf), "0x%x", v);
    return buf;
}

}  // namespace

bool CommandRunner::setAppToken(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    V2_0::RequestStatus status = V2_0::RequestStatus::FAIL;
    if (!callAndWait("set-app-token", [&](auto result) { return config->setAppToken(c.text, new SetConfigCb(result)); },
                     &status, error, true)) {
        return false;
    }
    Result r;
    r.cmd = "set-app-token";
    r.what = "set-app-token (" + std::to_string(c.text.size()) + " characters)";
    r.details.num("length", static_cast<int64_t>(c.text.size()));
    return answered(r, status, error);
}

bool CommandRunner::tokenFetchStatus(const Command& c, std::string* error) {
    int32_t requestId = c.requestId;
    if (c.lastRequestId) {
        if (!mHaveTokenRequest) {
            *error = "token-fetch-status last: no token request has been received yet";
            return false;
        }
        requestId = mLastRequestId;
    }
    sp<V2_1::IRcsConfig> config = mSession.config_2_1(mOptions.slot, error);
    if (config == nullptr) return false;
    auto ret = config->updateTokenFetchStatus(requestId, static_cast<V2_1::TokenType>(c.tokenType),
                                              static_cast<V2_1::StatusCode>(c.status));
    if (!reached("token-fetch-status", ret, error)) return false;
    // The call has no answer; let the service pass it on before going on.
    mSession.waitUntilIdle();
    Result r;
    r.cmd = "token-fetch-status";
    r.what = "token-fetch-status request " + std::to_string(requestId) + " " + tokenTypeName(c.tokenType) + " " +
             statusCodeName(c.status);
    r.answer = "sent";
    r.status = "SENT";
    r.details.num("requestId", requestId).str("tokenType", tokenTypeName(c.tokenType))
        .str("fetchStatus", statusCodeName(c.status));
    report(r);
    return true;
}

bool CommandRunner::uceStatus(const Command& c, std::string* error) {
    if (c.hasMask && !mSession.setPlatformMask(c.mask, error)) return false;
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    V2_0::UceStatus status{};
    if (!callAndWait("uce-status", [&](auto result) { return config->getUceStatus(new UceListener(result)); },
                     &status, error)) {
        return false;
    }
    const uint32_t mask = mSession.platformMask();
    auto word = [](bool b) { return b ? "supported" : "not supported"; };
    Result r;
    r.cmd = "uce-status";
    r.what = std::string("uce-status: presence ") + word(status.isPresenceSupported) + ", options " +
             word(status.isOptionsSupported) + " (platform mask " + hex(mask) + ")";
    r.details.flag("presence", status.isPresenceSupported).flag("options", status.isOptionsSupported)
        .num("platformMask", mask);
    report(r);
    return true;
}

bool CommandRunner::platformMask(const Command& c, std::string* error) {
    if (!mSession.setPlatformMask(c.mask, error)) return false;
    mOut.report("platform RCS service mask set to " + hex(c.mask),
                Json().str("cmd", "platform-mask").num("mask", c.mask).str("status", "OK"));
    return true;
}

}  // namespace rcsctl
