#include "pd/calls/CallLog.h"

#include "pd/Operations.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace pd {

void CallLog::start(std::size_t capacity) {
    // No page of it is touched before its calls are made: an agent that starts does not wait for
    // it.
    std::vector<CallRecord> ring;
    ring.reserve(capacity);
    ring_ = std::move(ring);
    capacity_ = capacity;
    first_ = begin_ = end_;
    recording_ = true;
}

void CallLog::append(CallRecord record) noexcept {
    record.sequence = end_;
    if (ring_.size() < capacity_)
        ring_.push_back(record);
    else
        ring_[slotOf(end_)] = record;
    ++end_;
    begin_ = std::max(begin_, end_ - std::min<std::uint64_t>(end_ - begin_, capacity_));
}

const CallRecord* CallLog::find(std::uint64_t sequence) const noexcept {
    return sequence >= begin_ && sequence < end_ ? &ring_[slotOf(sequence)] : nullptr;
}

namespace {

std::string valueText(ValueKind kind, const std::uint32_t* word) {
    switch (kind) {
    case ValueKind::number:
        return std::to_string(word[0]);
    case ValueKind::device:
        return std::to_string(static_cast<std::int32_t>(word[0]));
    case ValueKind::flag:
        return word[0] != 0 ? "true" : "false";
    case ValueKind::target:
        return '{' + std::to_string(static_cast<std::int32_t>(word[0])) + ", " +
               std::to_string(word[1]) + '}';
    case ValueKind::matchSpec: {
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "{0x%x, 0x%x}", static_cast<unsigned>(word[0]),
                      static_cast<unsigned>(word[1]));
        return text.data();
    }
    case ValueKind::actionSpec:
        return '{' + std::to_string(word[0]) + '}';
    }
    return {};
}

} // namespace

std::string toText(const CallRecord& record) {
    const Operation& operation = kOperations[record.operation];
    std::string inputs;
    std::string outputs;
    const std::uint32_t* word = record.arguments.words.data();
    for (std::size_t i = 0; i < operation.argumentCount(); ++i) {
        const auto [kind, direction] = kShapes[record.operation][i];
        const std::string name = operation.arguments[i];
        const char* const separator = inputs.empty() ? "" : ", ";
        if ((record.arguments.nulls >> i & 1u) != 0)
            inputs += separator + name + "=null";
        else if (direction == Direction::in)
            inputs += separator + name + '=' + valueText(kind, word);
        else if (record.status == P4_PD_STATUS_SUCCESS)
            outputs += ' ' + name + '=' + valueText(kind, word);
        word += wordsOf(kind);
    }
    return std::string(operation.name) + '(' + inputs + ") -> " + std::to_string(record.status) +
           outputs;
}

pipe_status readCall(const CallRecord* record, velmor_asic_call_t* call) noexcept {
    if (!call)
        return P4_PD_STATUS_INVALID_ARG;
    if (!record)
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    *call = {record->sequence, kOperations[record->operation].name, record->status};
    return P4_PD_STATUS_SUCCESS;
}

int formatCall(const CallRecord* record, char* buffer, std::size_t size) {
    return record ? std::snprintf(buffer, size, "%s", toText(*record).c_str()) : -1;
}

} // namespace pd
