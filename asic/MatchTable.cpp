#include "asic/MatchTable.h"

namespace asic {

Status MatchTable::setProperty(std::uint32_t property, std::uint32_t value) noexcept {
    if (property != P4_PD_PROPERTY_ENTRY_SCOPE ||
        (value != P4_PD_SCOPE_ALL_PIPELINES && value != P4_PD_SCOPE_SINGLE_PIPELINE)) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    const bool singlePipeline = value == P4_PD_SCOPE_SINGLE_PIPELINE;
    // An agent that starts again sets what is in force already, over a table with entries.
    if (singlePipeline != singlePipeline_ && !(entries_.empty() && defaults_.empty())) {
        return P4_PD_STATUS_IN_USE;
    }
    singlePipeline_ = singlePipeline;
    return P4_PD_STATUS_SUCCESS;
}

Status MatchTable::checkPlace(ScopeIndex scope, Target target) const noexcept {
    if (!isVisible(scope)) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    return profile_.checkTarget(scope, target);
}

Status MatchTable::add(ScopeIndex scope, const MatchKey& key, Target target, Handle* entry) {
    if (const Status status = checkPlace(scope, target); status != P4_PD_STATUS_SUCCESS) {
        return status;
    }
    if (ternary_[scope].contains(key)) {
        return P4_PD_STATUS_ALREADY_EXISTS;
    }
    Handle handle = kNoHandle;
    if (const Status status = entries_.add(Entry{scope, key, target}, &handle);
        status != P4_PD_STATUS_SUCCESS) {
        return status;
    }
    try {
        ternary_[scope].insert(key, handle);
    } catch (...) {
        entries_.erase(handle);
        throw;
    }
    profile_.retain(target);
    *entry = handle;
    return P4_PD_STATUS_SUCCESS;
}

Status MatchTable::remove(Handle entry) noexcept {
    const Entry* const record = entries_.find(entry);
    if (!record) {
        return defaults_.find(entry) ? P4_PD_STATUS_INVALID_ARG : P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    ternary_[record->scope].erase(record->key);
    profile_.release(record->target);
    entries_.erase(entry);
    return P4_PD_STATUS_SUCCESS;
}

Status MatchTable::setDefault(ScopeIndex scope, Target target, Handle* entry) {
    if (const Status status = checkPlace(scope, target); status != P4_PD_STATUS_SUCCESS) {
        return status;
    }
    if (const Handle present = defaults_.next(scope, kNoHandle); present != kNoHandle) {
        *entry = present;
        return repoint(present, target);
    }
    const Status status = defaults_.add(Entry{scope, MatchKey{}, target}, entry);
    if (status == P4_PD_STATUS_SUCCESS) {
        profile_.retain(target);
    }
    return status;
}

Status MatchTable::resetDefault(ScopeIndex scope) noexcept {
    if (!isVisible(scope)) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    if (const Handle present = defaults_.next(scope, kNoHandle); present != kNoHandle) {
        profile_.release(defaults_.find(present)->target);
        defaults_.erase(present);
    }
    return P4_PD_STATUS_SUCCESS;
}

Status MatchTable::repoint(Handle entry, Target target) noexcept {
    Entry* record = entries_.find(entry);
    if (!record) {
        record = defaults_.find(entry);
    }
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    const Status status = profile_.checkTarget(record->scope, target);
    if (status != P4_PD_STATUS_SUCCESS) {
        return status;
    }
    profile_.retain(target);
    profile_.release(record->target);
    record->target = target;
    return P4_PD_STATUS_SUCCESS;
}

const Entry* MatchTable::find(Handle entry) const noexcept {
    const Entry* const record = entries_.find(entry);
    return record ? record : defaults_.find(entry);
}

MatchTable::Decision MatchTable::decide(ScopeIndex scope, std::uint32_t metadata) const noexcept {
    const Handle match = ternary_[scope].lookup(metadata);
    if (match != kNoHandle) {
        return {match, false};
    }
    const Handle byDefault = defaults_.next(scope, kNoHandle);
    return {byDefault, byDefault != kNoHandle};
}

} // namespace asic
