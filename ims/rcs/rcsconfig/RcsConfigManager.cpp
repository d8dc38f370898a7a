#include "rcsconfig/RcsConfigManager.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

#include "imsservice/ImsLog.h"
#include "rcsconfig/RcsConfig.h"

using android::sp;
using android::wp;
using android::hidl::base::V1_0::IBase;

RcsConfigManager::RcsConfigManager(ImsCom& com, ImsTimer& timer, ImsMcxSettings& settings,
                                   ImsMcxApplication& application)
    : ImsCreatable("createRcsConfig", "createRcsConfig_1_1"),
      imsComHandler<ConfigCallbackData>(com, timer),
      com(com),
      timer(timer),
      settings(settings),
      application(application),
      mServiceAvailable(false),
      mModemUp(false),
      mImssSubscribed{false, false},
      mImsaSubscribed{false, false} {
    IMS_LOG("RcsConfigManager::Constructor");
    settings.registerServiceStatusListener(
            [this](ServiceStatus status) { serviceStatusCb(status); });
    application.registerServiceStatusListener(
            [this](ImsAppServiceData& data) { imsAppServiceEventCb(data); });
}

RcsConfigManager::~RcsConfigManager() {
    settings.deRegisterServiceStatusListener();
    application.deRegisterServiceStatusListener();
    // Recipients first, then the listeners, then the service objects, each
    // newest first. Links are not undone: a late notice finds its recipient
    // gone, and one already being told (the service stopping as a client
    // dies) is waited for and kept from this manager.
    // A death being told holds its recipient's lock while it takes
    // mListenerLock, so the recipients are detached outside mListenerLock.
    std::vector<sp<DeathRecipientListener>> recipients;
    {
        android::Mutex::Autolock guard(mListenerLock);
        recipients.swap(mDeathRecipients);
    }
    for (const auto& recipient : recipients) recipient->detach();
    while (!recipients.empty()) recipients.pop_back();
    android::Mutex::Autolock guard(mListenerLock);
    mListeners.clear();
    while (!mRcsConfigs.empty()) mRcsConfigs.pop_back();
}

sp<IBase> RcsConfigManager::createInstance(const Params& params) {
    const unsigned long key = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(params.listener.get()));
    sp<DeathRecipientListener> recipient = new DeathRecipientListener(this);
    if (params.listener != nullptr) {
        // Kept before the link is made, so that the death (told on another
        // thread) always finds it to release.
        recipient->keepLinked(params.listener);
        // A listener that is already dead is only noticed when a call to it
        // fails; without a link, there is no reason to keep its proxy.
        if (!params.listener->linkToDeath(recipient, key).withDefault(false)) recipient->keepLinked(nullptr);
    }

    android::Mutex::Autolock guard(mListenerLock);
    mDeathRecipients.push_back(recipient);
    if (params.listener != nullptr) {
        mListeners[key] = std::make_shared<RcsConfigListenerWrapper>(
                params.listener, params.listenerVersion, params.slotId);
    } else {
        // The 1.1 factory passes an empty listener of createRcsConfig_1_1 on;
        // such a client gets its object but hears no notices.
        IMS_LOG("RcsConfigManager::createInstance no listener for slotid %d", params.slotId);
    }

    sp<RcsConfig> config = new RcsConfig(*this, params.slotId);
    mRcsConfigs.push_back(config);
    IMS_LOG("New RcsConfig Object %p, sp count = %d for slotid %d", config.get(),
            static_cast<int>(config->getStrongCount()), params.slotId);

    ConfigCallbackData data = newRecord(SUBSCRIBE_SUB, params.slotId);
    postEvent(data);
    return config;
}

ConfigCallbackData RcsConfigManager::newRecord(ConfigEventType type, int slotId) {
    ConfigCallbackData data{};
    data.eventType = type;
    data.slotId = slotId;
    data.settingsId = -1;
    return data;
}

void RcsConfigManager::setRcsConfig(std::function<void(bool)> cb, int slotId,
                                    const Container& config, std::shared_ptr<const void> keepAlive) {
    ConfigCallbackData data = newRecord(SET_RCS_CONFIG, slotId);
    data.config = &config;
    data.resultCb = std::move(cb);
    data.keepAlive = std::move(keepAlive);
    postEvent(data);
}

void RcsConfigManager::setRcsSettings(std::function<void(bool)> cb, int slotId,
                                      const SettingsData& settingsData,
                                      std::shared_ptr<const void> keepAlive) {
    ConfigCallbackData data = newRecord(SET_RCS_SETTINGS, slotId);
    data.settingsData = &settingsData;
    data.resultCb = std::move(cb);
    data.keepAlive = std::move(keepAlive);
    postEvent(data);
}

void RcsConfigManager::getRcsSettings(std::function<void(int, void*)> cb, int slotId,
                                      const SettingsId& id) {
    ConfigCallbackData data = newRecord(GET_RCS_SETTINGS, slotId);
    data.settingsId = static_cast<int32_t>(id);
    data.settingsCb = std::move(cb);
    postEvent(data);
}

bool RcsConfigManager::registerForRcsSettingsChange(std::function<void(int, void*)> cb, int slotId,
                                                    const SettingsId& id) {
    ConfigCallbackData data = newRecord(REGISTER_SETTINGS_CHANGE, slotId);
    data.settingsId = static_cast<int32_t>(id);
    data.settingsCb = std::move(cb);
    postEvent(data);
    return true;
}

void RcsConfigManager::deregisterForRcsSettingsChange(int slotId, const SettingsId& id) {
    ConfigCallbackData data = newRecord(DEREGISTER_SETTINGS_CHANGE, slotId);
    data.settingsId = static_cast<int32_t>(id);
    postEvent(data);
}

void RcsConfigManager::setRcsAppToken(std::function<void(bool)> cb, int slotId,
                                      const std::string& token) {
    ConfigCallbackData data = newRecord(SET_APP_TOKEN, slotId);
    data.appToken = token;
    data.resultCb = std::move(cb);
    postEvent(data);
}

void RcsConfigManager::updateAppTokenFetchStatus(int slotId, int requestId, TokenType type,
                                                 const StatusCode& status) {
    ConfigCallbackData data = newRecord(UPDATE_TOKEN_FETCH_STATUS, slotId);
    data.requestId = requestId;
    data.tokenType = static_cast<uint32_t>(type);
    data.statusCode = static_cast<uint32_t>(status);
    postEvent(data);
}

std::vector<std::shared_ptr<RcsConfigListenerWrapper>> RcsConfigManager::listenerSnapshot() const {
    // A copy taken under the lock: a listener may die (and be erased on the
    // death thread) or a new one be filed while the notices go out, and the
    // lock is not held across the calls, which may reach a client that calls
    // back into the factory.
    std::vector<std::shared_ptr<RcsConfigListenerWrapper>> wrappers;
    android::Mutex::Autolock guard(mListenerLock);
    wrappers.reserve(mListeners.size());
    for (const auto& entry : mListeners) {
        if (entry.second != nullptr) wrappers.push_back(entry.second);
    }
    return wrappers;
}

void RcsConfigManager::notifyReconfigNeeded() {
    for (const auto& wrapper : listenerSnapshot()) wrapper->onReconfigNeeded();
}

void RcsConfigManager::serviceStatusCb(ServiceStatus status) {
    IMS_LOG("RcsConfigManager::serviceStatusCb service status event from mcx client");
    switch (status) {
        case ServiceStatus::AVAILABLE:
            IMS_LOG("RcsConfigManager: ServiceStatus::AVAILABLE");
            // Listeners hear of it before requests are accepted again.
            notifyReconfigNeeded();
            mServiceAvailable = true;
            mModemUp = true;
            break;
        case ServiceStatus::MODEM_UP:
            IMS_LOG("RcsConfigManager: ServiceStatus::MODEM_UP");
            mModemUp = true;
            notifyReconfigNeeded();
            break;
        case ServiceStatus::NOT_SUPPORTED:
        case ServiceStatus::MODEM_DOWN:
            IMS_LOG("RcsConfigManager: MODEM_DOWN or NOT_SUPPORTED");
            mServiceAvailable = false;
            mModemUp = false;
            break;
        default:
            break;
    }
}

void RcsConfigManager::imsAppServiceEventCb(ImsAppServiceData& data) {
    switch (data.event) {
        case ImsAppServiceData::MODEM_UP:
            IMS_LOG("RcsConfigManager::imsAppServiceEventCb::MODEM_UP");
            break;
        case ImsAppServiceData::MODEM_DOWN:
            IMS_LOG("RcsConfigManager::imsAppServiceEventCb::MODEM_DOWN");
            break;
        case ImsAppServiceData::TOKEN_REQUEST:
            IMS_LOG("RcsConfigManager::imsAppServiceEventCb::TOKEN_REQUEST");
            // Every listener is asked; each wrapper keeps to its own slot and version.
            for (const auto& wrapper : listenerSnapshot()) {
                wrapper->onTokenFetchRequest(data.requestId, static_cast<TokenType>(data.tokenType),
                                             static_cast<TokenRequestReason>(data.requestReason),
                                             data.subId + 1);
                IMS_LOG("RcsConfigManager::imsAppServiceEventCb Call onTokenFetchRequest withrequestId %d, token type %d, request reason %d",
                        data.requestId, data.tokenType, data.requestReason);
            }
            break;
        default:
            break;
    }
}

void RcsConfigManager::listenerDied(unsigned long cookie) {
    forgetListener(cookie);
}

void RcsConfigManager::forgetListener(unsigned long key) {
    android::Mutex::Autolock guard(mListenerLock);
    mListeners.erase(key);
}

void RcsConfigManager::DeathRecipientListener::serviceDied(uint64_t cookie, const wp<IBase>& who) {
    IMS_LOG("RcsConfig service died. cookie:%d, who: %p", static_cast<int>(cookie),
            static_cast<void*>(who.unsafe_get()));
    {
        android::Mutex::Autolock guard(mLock);
        if (mManager != nullptr) mManager->forgetListener(static_cast<unsigned long>(cookie));
    }
    // The link has served. The recipient itself stays with the manager, but
    // the proxy must not: for a client in another process it holds that
    // client's whole connection.
    mLinked = nullptr;
}

void RcsConfigManager::DeathRecipientListener::detach() {
    android::Mutex::Autolock guard(mLock);
    mManager = nullptr;
}

void RcsConfigManager::handleEvent(ConfigCallbackData& data) {
    IMS_LOG("RcsConfigManager::handleEvent Switched to ImsMcx thread");
    switch (data.eventType) {
        case SUBSCRIBE_SUB:
            handleSubscribe(data);
            break;
        case SET_RCS_CONFIG:
            handleSetConfig(data);
            break;
        case SET_RCS_SETTINGS:
            handleSetSettings(data);
            break;
        case GET_RCS_SETTINGS:
            handleGetSettings(data);
            break;
        case REGISTER_SETTINGS_CHANGE:
            handleRegister(data);
            break;
        case DEREGISTER_SETTINGS_CHANGE:
            handleDeregister(data);
            break;
        case SET_APP_TOKEN:
            handleSetAppToken(data);
            break;
        case UPDATE_TOKEN_FETCH_STATUS:
            handleTokenFetchStatus(data);
            break;
        default:
            // 6 and everything from 9 on.
            IMS_LOG("Config callback event not supported : %d", static_cast<int>(data.eventType));
            break;
    }
}

void RcsConfigManager::handleSubscribe(ConfigCallbackData& data) {
    if (!mModemUp) {
        // Dropped, not retried: the slot is subscribed by the next creation.
        IMS_LOG("RcsConfigManager::handleEvent cannot create,modem service is not up");
        return;
    }
    if (data.slotId < 1 || data.slotId > 2) {
        IMS_LOG("RcsConfigManager::handleEvent invalid sub: %d", data.slotId);
        return;
    }
    IMS_LOG("RcsConfigManager::handleEvent subscribing to new sub");
    const int index = data.slotId - 1;
    mImssSubscribed[index] = settings.subscribeToSub(index);
    mImsaSubscribed[index] = application.subscribeToSub(index);
    IMS_LOG("RcsConfigManager::handleEvent subscribe to sub returned IMSS %d, IMSA %d",
            mImssSubscribed[index], mImsaSubscribed[index]);
}

void RcsConfigManager::handleSetConfig(ConfigCallbackData& data) {
    if (!mServiceAvailable) {
        IMS_LOG("RcsConfigManager::handleEvent cannot set rcs config,modem service is not up");
        data.resultCb(false);
        return;
    }
    std::vector<uint8_t> bytes;
    bool compressed = false;
    if (data.config != nullptr) {
        bytes.assign(data.config->config.data(), data.config->config.data() + data.config->config.size());
        compressed = data.config->isCompressed;
    }
    bool sent = settings.sendRcsConfig(data.resultCb, data.slotId - 1, std::move(bytes), compressed);
    IMS_LOG("RcsConfigManger::handleEvent call to sendRcsConfig on mcx was: %s",
            sent ? "successful" : "unsuccessuful");
}

void RcsConfigManager::handleSetSettings(ConfigCallbackData& data) {
    if (!mModemUp) {
        IMS_LOG("RcsConfigManager::handleEvent cannot set rcs settings,modem service is not up");
        data.resultCb(false);
        return;
    }
    IMS_LOG("Before calling settingsData");
    rcs_settings_data_s request{};
    bool converted = data.settingsData != nullptr &&
                     convertSetReqDataToMcx(*data.settingsData, &request);
    if (!converted) {
        IMS_LOG("Not sending request message to modem");
        data.resultCb(false);
        return;
    }
    // The message now belongs to the settings client.
    settings.sendRcsSettings(data.resultCb, data.slotId - 1, static_cast<int>(request.msgId),
                             request.msgData);
}

void RcsConfigManager::handleGetSettings(ConfigCallbackData& data) {
    if (!mModemUp) {
        IMS_LOG("RcsConfigManager::handleEvent cannot set rcs settings,modem service is not up");
        data.settingsCb(data.settingsId, nullptr);
        return;
    }
    IMS_LOG("Before calling settingsData in get %d", data.settingsId);
    rcs_settings_data_s request{};
    if (!convertReceiveRespDataToMcx(data.settingsId, &request)) {
        IMS_LOG("Not sending request message to modem");
        data.settingsCb(data.settingsId, nullptr);
        return;
    }
    settings.receiveRcsSettings(data.settingsCb, data.slotId - 1, static_cast<int>(request.msgId),
                                request.msgData);
}

void RcsConfigManager::handleRegister(ConfigCallbackData& data) {
    if (!mModemUp) {
        IMS_LOG("RcsConfigManager::handleEvent cannot register for rcs settings change,modem service is not up");
        data.settingsCb(data.settingsId, nullptr);
        return;
    }
    IMS_LOG("Before calling registerForChange %d", data.settingsId);
    settings.registerForRcsSettingsUpdate(data.settingsCb, data.slotId - 1, data.settingsId);
}

void RcsConfigManager::handleDeregister(ConfigCallbackData& data) {
    if (!mModemUp) {
        IMS_LOG("RcsConfigManager::handleEvent cannot proceed, modem service is not up");
        return;
    }
    IMS_LOG("Before calling deregisterForChange in get %d", data.settingsId);
    // Listeners are kept per group, for both slots at once.
    bool removed = settings.deregisterForRcsSettingsUpdate(data.settingsId);
    IMS_LOG("after calling deregisterForChange, status %d", removed);
}

void RcsConfigManager::handleSetAppToken(ConfigCallbackData& data) {
    if (!mModemUp) {
        refuseTokenEvent(data);
        return;
    }
    IMS_LOG("Before calling setToken %d", data.settingsId);
    bool started = settings.sendAppToken(data.resultCb, data.slotId - 1, data.appToken);
    IMS_LOG("after calling setToken, status %d", started);
}

void RcsConfigManager::handleTokenFetchStatus(ConfigCallbackData& data) {
    if (!mModemUp) {
        refuseTokenEvent(data);
        return;
    }
    IMS_LOG("Before calling updateTokenFetchStatus %d", data.settingsId);
    bool started = settings.sendTokenFetchStatus(data.slotId - 1, data.requestId, data.tokenType,
                                                 data.statusCode);
    IMS_LOG("after calling updateTokenFetchStatus, status %d", started);
}

void RcsConfigManager::refuseTokenEvent(ConfigCallbackData& data) {
    IMS_LOG("RcsConfigManager::handleEvent cannot proceed, modem service is not up");
    // The token events share the refusal of get and register, whose answer
    // goes through settingsCb. Token records never carry one, so this call
    // throws std::bad_function_call out of the loop's callback, and a token
    // sender's resultCb is never called. The host catches the throw on its
    // loop thread and carries on; clients have always seen this behaviour.
    data.settingsCb(data.settingsId, nullptr);
}

void RcsConfigManager::resumePendingEvents() {
    uint64_t one = 1;
    if (write(fd, &one, sizeof(one)) != static_cast<ssize_t>(sizeof(one))) {
        IMS_LOG("RcsConfigManager::resumePendingEvents could not signal fd[%d]", fd);
    }
}

bool RcsConfigManager::isImssSubscribed(int slotId) const {
    return slotId >= 1 && slotId <= 2 && mImssSubscribed[slotId - 1];
}

bool RcsConfigManager::isImsaSubscribed(int slotId) const {
    return slotId >= 1 && slotId <= 2 && mImsaSubscribed[slotId - 1];
}

std::vector<RcsConfigManager::ListenerInfo> RcsConfigManager::listeners() const {
    std::vector<ListenerInfo> result;
    android::Mutex::Autolock guard(mListenerLock);
    for (const auto& entry : mListeners) {
        if (entry.second == nullptr) continue;
        result.push_back(
                ListenerInfo{entry.first, entry.second->slotId(), entry.second->version(), entry.second->listener()});
    }
    return result;
}

std::vector<sp<RcsConfig>> RcsConfigManager::rcsConfigs() const {
    android::Mutex::Autolock guard(mListenerLock);
    return mRcsConfigs;
}

size_t RcsConfigManager::deathRecipientCount() const {
    android::Mutex::Autolock guard(mListenerLock);
    return mDeathRecipients.size();
}

std::map<uint32_t, size_t> RcsConfigManager::queuedEvents() {
    std::map<uint32_t, size_t> counts;
    android::Mutex::Autolock guard(mutex);
    for (const auto& item : queue) ++counts[item.eventType];
    return counts;
}
