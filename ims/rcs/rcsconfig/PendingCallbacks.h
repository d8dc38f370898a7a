/*
 * PendingCallbacks: the callbacks of requests waiting for their answer, filed
 * by key (a request number, a configuration token or a settings group).
 *
 * The first callback filed under a key stays; a later one for the same key is
 * refused. Lookups hand out a copy, so a callback is always called with the
 * map's lock released, and an entry erased meanwhile (a modem restart empties
 * the map) does not pull the callback from under its caller.
 */
#ifndef RCSCONFIG_PENDING_CALLBACKS_H
#define RCSCONFIG_PENDING_CALLBACKS_H

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include <utils/Mutex.h>

template <typename Key, typename Callback>
class PendingCallbacks {
public:
    // Files cb under key unless the key is taken; false if it was. Any thread.
    bool file(Key key, Callback cb) {
        android::Mutex::Autolock guard(mLock);
        return mCallbacks.emplace(key, std::move(cb)).second;
    }
    // A copy of the callback filed under key, empty if there is none. Any thread.
    Callback find(Key key) const {
        android::Mutex::Autolock guard(mLock);
        auto it = mCallbacks.find(key);
        return it == mCallbacks.end() ? Callback() : it->second;
    }
    // Unfiles key; true if it was filed. Any thread.
    bool erase(Key key) {
        android::Mutex::Autolock guard(mLock);
        return mCallbacks.erase(key) != 0;
    }
    // Forgets every callback without calling it. Any thread.
    void clear() {
        android::Mutex::Autolock guard(mLock);
        mCallbacks.clear();
    }
    // Any thread.
    size_t size() const {
        android::Mutex::Autolock guard(mLock);
        return mCallbacks.size();
    }
    // The filed keys in ascending order. Any thread.
    std::vector<Key> keys() const {
        android::Mutex::Autolock guard(mLock);
        std::vector<Key> filed;
        for (const auto& entry : mCallbacks) filed.push_back(entry.first);
        return filed;
    }

private:
    mutable android::Mutex mLock;
    std::map<Key, Callback> mCallbacks GUARDED_BY(mLock);
};

#endif  // RCSCONFIG_PENDING_CALLBACKS_H
