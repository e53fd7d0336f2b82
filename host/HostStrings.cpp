// HostStrings.cpp - the host's reference-counted strings and their services.
//
// A host string is a ZYNEstringStruct the host mallocs, with its text in a second
// malloc'ed block; both are freed at the last unlock. The host knows every string it
// made, so a string unlocked once too often is reported as a fault instead of freed
// twice. No encoding conversion happens here: the encoding is a tag that is kept.
//
//   FIELD      MEANING
//   hostWord0  reference count, 1 at creation
//   storage    [length byte = min(length, 255)][length bytes][NUL]
//   hostWord1  encoding tag; kUnknownEncoding (0xFFFF) when built without one
//   length     byte length, not clamped
#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

#include "HostState.h"

namespace zyne::host {

namespace detail {

ZYNEstring HostState::NewString(const char* text, long length, unsigned long encoding) {
    if (length < 0 || (text == nullptr && length > 0)) return nullptr;
    const size_t size = static_cast<size_t>(length);
    auto* storage = static_cast<unsigned char*>(std::malloc(size + 2));
    auto* string = static_cast<ZYNEstring>(std::malloc(sizeof(ZYNEstringStruct)));
    if (storage == nullptr || string == nullptr) {
        std::free(storage);
        std::free(string);
        return nullptr;
    }
    // Deliberate: the length byte saturates at 255; `length` holds the real length.
    storage[0] = static_cast<unsigned char>(std::min<size_t>(size, 255));
    if (size > 0) std::memcpy(storage + 1, text, size);
    storage[size + 1] = 0;
    string->hostWord0 = 1;
    string->storage = storage;
    string->hostWord1 = encoding;
    string->length = length;
    liveStrings.insert(string);
    return string;
}

void HostState::LockString(ZYNEstring string, const char* service) {
    if (string == nullptr) return;
    if (!liveStrings.contains(string)) {
        Fault(std::string(service) + " on a string the host does not hold");
        return;
    }
    ++string->hostWord0;
}

void HostState::UnlockString(ZYNEstring string, const char* service) {
    if (string == nullptr) return;
    if (!liveStrings.contains(string)) {
        Fault(std::string(service) + " on a string the host does not hold");
        return;
    }
    assert(string->hostWord0 > 0 && "a live string has a count");
    if (--string->hostWord0 > 0) return;
    liveStrings.erase(string);
    std::free(const_cast<unsigned char*>(string->storage));
    std::free(string);
}

std::string DescribeString(ZYNEstring string) {
    if (!CurrentState().liveStrings.contains(string)) return "ptr";
    return Describe(std::string_view(ReferenceHost::Text(string)));
}

}  // namespace detail

namespace {

// The text argument of a build service: only `length` bytes are read, never up to a NUL.
detail::Verbatim TextArgument(const char* text, int length) {
    if (text == nullptr) return {"null"};
    return {detail::Describe(std::string_view(text, static_cast<size_t>(std::max(length, 0))))};
}

// Whether `string` may be read; a dead one is a fault, reported under `service`.
bool Readable(detail::HostState& state, ZYNEstring string, const char* service) {
    if (string == nullptr) return false;
    if (state.liveStrings.contains(string)) return true;
    state.Fault(std::string(service) + " on a string the host does not hold");
    return false;
}

ZYNEstring BuildString(const char* text, int length) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEBuildString", TextArgument(text, length), length);
    return state.NewString(text, length, ReferenceHost::kUnknownEncoding);
}

ZYNEstring BuildStringWithEncoding(const char* text, int length, unsigned long encoding) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEBuildStringWithEncoding", TextArgument(text, length), length, encoding);
    return state.NewString(text, length, encoding);
}

void LockString(ZYNEstring string) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNELockString", string);
    state.LockString(string, "ZYNELockString");
}

void UnlockString(ZYNEstring string) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEUnlockString", string);
    state.UnlockString(string, "ZYNEUnlockString");
}

const char* GetCString(ZYNEstring string) {
    detail::HostState& state = detail::CurrentState();
    state.Called("StringGetCString", string);
    if (!Readable(state, string, "StringGetCString")) return nullptr;
    return reinterpret_cast<const char*>(string->storage + 1);
}

const unsigned char* GetPString(ZYNEstring string) {
    detail::HostState& state = detail::CurrentState();
    state.Called("StringGetPString", string);
    if (!Readable(state, string, "StringGetPString")) return nullptr;
    return string->storage;
}

unsigned long GetStringEncoding(ZYNEstring string) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEGetStringEncoding", string);
    return Readable(state, string, "ZYNEGetStringEncoding") ? string->hostWord1 : 0;
}

void SetStringEncoding(ZYNEstring string, unsigned long encoding) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNESetStringEncoding", string, encoding);
    if (Readable(state, string, "ZYNESetStringEncoding")) string->hostWord1 = encoding;
}

const detail::ServiceRow kStringServices[] = {
    {"ZYNEBuildString", reinterpret_cast<void*>(&BuildString)},
    {"ZYNEBuildStringWithEncoding", reinterpret_cast<void*>(&BuildStringWithEncoding)},
    {"ZYNELockString", reinterpret_cast<void*>(&LockString)},
    {"ZYNEUnlockString", reinterpret_cast<void*>(&UnlockString)},
    {"StringGetCString", reinterpret_cast<void*>(&GetCString)},
    {"StringGetPString", reinterpret_cast<void*>(&GetPString)},
    {"ZYNEGetStringEncoding", reinterpret_cast<void*>(&GetStringEncoding)},
    {"ZYNESetStringEncoding", reinterpret_cast<void*>(&SetStringEncoding)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::StringServices() {
    return kStringServices;
}

ZYNEstring ReferenceHost::NewString(std::string_view text, unsigned long encoding) {
    return state_->NewString(text.data(), static_cast<long>(text.size()), encoding);
}

std::string ReferenceHost::Text(ZYNEstring string) {
    if (string == nullptr || string->storage == nullptr || string->length <= 0) return {};
    return std::string(reinterpret_cast<const char*>(string->storage + 1),
                       static_cast<size_t>(string->length));
}

long ReferenceHost::RefCount(ZYNEstring string) const {
    if (string == nullptr || !state_->liveStrings.contains(string)) return 0;
    return static_cast<long>(string->hostWord0);
}

void ReferenceHost::Lock(ZYNEstring string) {
    state_->LockString(string, "Lock");
}

void ReferenceHost::Unlock(ZYNEstring string) {
    state_->UnlockString(string, "Unlock");
}

size_t ReferenceHost::LiveStrings() const {
    return state_->liveStrings.size();
}

}  // namespace zyne::host
