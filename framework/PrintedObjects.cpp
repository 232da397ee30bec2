#include "framework/PrintedObjects.h"

#include <unordered_map>

namespace Kel {

namespace {

struct Registry {
    std::unordered_map<U32, const PtrInterface*> objects;
    U32 latest = 0;
};

/// Never destroyed: objects may outlive every other static.
Registry& registry() {
    static Registry& registry = *new Registry;
    return registry;
}

} // namespace

U32 PrintedObjects::numberOf(const PtrInterface& object) {
    if (object.printedNumber_ == 0) {
        Registry& r = registry();
        do {
            ++r.latest; // after 2^32 objects numbers start over, beside those still in use
        } while (r.latest == 0 || r.objects.contains(r.latest));
        r.objects.emplace(r.latest, &object);
        object.printedNumber_ = r.latest;
    }
    return object.printedNumber_;
}

const PtrInterface* PrintedObjects::object(U32 number) noexcept {
    const auto& objects = registry().objects;
    const auto found = objects.find(number);
    // An object that nobody counts is not for text to own.
    const bool isOwned = found != objects.end() && found->second->kelReferenceCount() != 0;
    return isOwned ? found->second : nullptr;
}

void PrintedObjects::forget(const PtrInterface& object) noexcept {
    registry().objects.erase(object.printedNumber_);
    object.printedNumber_ = 0;
}

} // namespace Kel
