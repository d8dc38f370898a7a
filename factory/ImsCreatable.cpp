#include "ImsCreatable.h"

#include <memory>
#include <utils/Mutex.h>
#include <vector>

#include "ImsFactory.h"

namespace {

// Creatables no registry accepted. They cannot be deleted by their own
// constructor (the derived part is still under construction), so they wait
// here for the next registry operation or process exit.
struct RefusedList {
    android::Mutex lock;
    std::vector<ImsCreatable*> items;  // guarded by lock
    ~RefusedList() {
        for (ImsCreatable* c : items) delete c;
    }
};

RefusedList& refused() {
    static RefusedList list;
    return list;
}

}  // namespace

ImsCreatable::ImsCreatable(const std::string& name) : mName(name) {
    // The registries become the owner: the shared pointer built from this is
    // dropped at the end of the constructor.
    std::shared_ptr<ImsCreatable> self(this, &ImsCreatable::release);
    mRegistered = ImsFactory_1_0::registerApi(mName, self);
    bool accepted = mRegistered;
    // The 1.1 result is the one kept in the flag.
    mRegistered = ImsFactory_1_1::registerApi(mName, self);
    accepted = accepted || mRegistered;
    keepIfRefused(accepted);
}

ImsCreatable::ImsCreatable(const std::string& name, const std::string& secondName)
    : mName(name), mSecondName(secondName) {
    std::shared_ptr<ImsCreatable> self(this, &ImsCreatable::release);
    mRegistered = ImsFactory_1_1::registerApi(mName, self);
    mSecondRegistered = ImsFactory_1_1::registerApi(mSecondName, self);
    keepIfRefused(mRegistered || mSecondRegistered);
}

ImsCreatable::~ImsCreatable() = default;

void ImsCreatable::release(ImsCreatable* creatable) {
    if (creatable->mOwnedByRegistry) delete creatable;
}

void ImsCreatable::keepIfRefused(bool accepted) {
    if (accepted) return;
    // Nobody holds a copy of the constructor's shared pointer, so dropping it
    // would delete this while a derived constructor still runs.
    mOwnedByRegistry = false;
    RefusedList& list = refused();
    android::Mutex::Autolock guard(list.lock);
    list.items.push_back(this);
}

void ImsCreatable::reclaimRefused() {
    std::vector<ImsCreatable*> doomed;
    {
        RefusedList& list = refused();
        android::Mutex::Autolock guard(list.lock);
        doomed.swap(list.items);
    }
    for (ImsCreatable* c : doomed) delete c;
}
