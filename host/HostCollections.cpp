// HostCollections.cpp - the host's "Collection" class: items added with
// "Add(value as variant, key as string)", found through "ZYNELoadObjectMethod".
//
// A collection holds one reference on each side of every item it keeps. The host looks
// at what it was handed rather than trusting the declared types: a live string is held
// as a string, a live object as an object, anything else is kept as a bare pointer. (The
// database surface hands Add the key text first and the value's variant second; the
// collection keeps exactly what came, so a test can see that order.)
//
//   OFFSET   SIZE     FIELD   MEANING
//   6 words  1 word   items   heap vector of items; freed with the collection
#include <string>
#include <vector>

#include "HostValues.h"

namespace zyne::host {

namespace {

struct Item {
    void* value;
    void* key;
};
using Items = std::vector<Item>;

void DestroyCollection(ZYNEobject self);
void Add(ZYNEobject self, ZYNEobject value, ZYNEstring key);
long Count(ZYNEobject self);

ZYNEmethodDefinition gCollectionMethods[] = {
    {reinterpret_cast<void*>(&Add), nullptr, "Add(value as variant, key as string)", 0},
    {reinterpret_cast<void*>(&Count), nullptr, "Count() as Integer", 0},
};

ZYNEclassDefinition gCollectionClass = detail::HostClassRecord(
    "Collection", sizeof(Items*), &DestroyCollection, gCollectionMethods,
    static_cast<long>(sizeof gCollectionMethods / sizeof gCollectionMethods[0]));

Items*& ItemsSlot(ZYNEobject self) {
    return *reinterpret_cast<Items**>(reinterpret_cast<char*>(self) + gCollectionClass.dataOffset);
}

// The items of a live collection, made on first use; null for anything else.
Items* ItemsOf(const detail::HostState& state, ZYNEobject object) {
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr || info->record != &gCollectionClass) return nullptr;
    Items*& items = ItemsSlot(object);
    if (items == nullptr) items = new Items;
    return items;
}

void Hold(detail::HostState& state, void* thing) {
    if (state.liveStrings.contains(static_cast<ZYNEstring>(thing))) {
        state.LockString(static_cast<ZYNEstring>(thing), "Collection.Add");
    } else if (state.liveObjects.contains(static_cast<ZYNEobject>(thing))) {
        state.LockObject(static_cast<ZYNEobject>(thing), "Collection.Add");
    }
}

void Release(detail::HostState& state, void* thing) {
    if (state.liveStrings.contains(static_cast<ZYNEstring>(thing))) {
        state.UnlockString(static_cast<ZYNEstring>(thing), "Collection");
    } else if (state.liveObjects.contains(static_cast<ZYNEobject>(thing))) {
        state.UnlockObject(static_cast<ZYNEobject>(thing), "Collection");
    }
}

// A side of an item in its log form.
std::string Shown(detail::HostState& state, void* thing) {
    if (thing == nullptr) return "null";
    auto string = static_cast<ZYNEstring>(thing);
    if (state.liveStrings.contains(string)) return detail::Describe(std::string_view(ReferenceHost::Text(string)));
    auto object = static_cast<ZYNEobject>(thing);
    if (state.ClassInfoOf(object) == &detail::VariantClass()) {
        std::optional<detail::PropertyValue> text =
            detail::ReadVariantValue(state, object, "StringValue");
        std::string shown = "variant(?)";
        if (text && text->kind == detail::PropertyValue::Kind::kString) {
            shown = "variant(" + detail::Describe(std::string_view(ReferenceHost::Text(text->string))) + ")";
            state.UnlockString(text->string, "Collection");
        }
        return shown;
    }
    return state.liveObjects.contains(object) ? "object" : "ptr";
}

void DestroyCollection(ZYNEobject self) {
    detail::HostState& state = detail::CurrentState();
    Items* items = ItemsSlot(self);
    ItemsSlot(self) = nullptr;
    if (items == nullptr) return;
    for (const Item& item : *items) {
        Release(state, item.value);
        Release(state, item.key);
    }
    delete items;
}

void Add(ZYNEobject self, ZYNEobject value, ZYNEstring key) {
    detail::HostState& state = detail::CurrentState();
    state.Called("Collection.Add", self, detail::Verbatim{Shown(state, value)},
                 detail::Verbatim{Shown(state, key)});
    Items* items = ItemsOf(state, self);
    if (items == nullptr) {
        state.Fault("Collection.Add on an object that is not a collection");
        return;
    }
    Hold(state, value);
    Hold(state, key);
    items->push_back({value, key});
}

long Count(ZYNEobject self) {
    detail::HostState& state = detail::CurrentState();
    state.Called("Collection.Count", self);
    const Items* items = ItemsOf(state, self);
    return items != nullptr ? static_cast<long>(items->size()) : 0;
}

}  // namespace

ZYNEclassDefinition& detail::CollectionClassRecord() {
    return gCollectionClass;
}

ZYNEobject ReferenceHost::NewCollection() {
    return state_->NewObject(state_->HostClassOf(&gCollectionClass));
}

std::optional<std::vector<ReferenceHost::CollectionItem>> ReferenceHost::CollectionItems(
    ZYNEobject collection) const {
    const Items* items = ItemsOf(*state_, collection);
    if (items == nullptr) return std::nullopt;
    std::vector<CollectionItem> result;
    for (const Item& item : *items)
        result.push_back({Shown(*state_, item.value), Shown(*state_, item.key)});
    return result;
}

}  // namespace zyne::host
