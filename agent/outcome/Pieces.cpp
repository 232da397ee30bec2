#include "agent/outcome/Pieces.h"

namespace LagAgent {

void Pieces::add(std::string text) {
    if (!text.empty()) {
        add(1, [text = std::move(text)](std::size_t, std::string& out) { out += text; });
    }
}

void Pieces::add(std::size_t count, Write write) {
    if (count != 0) {
        sections_.push_back({count, std::move(write)});
    }
}

void Pieces::add(const Pieces& other) {
    sections_.insert(sections_.end(), other.sections_.begin(), other.sections_.end());
}

std::string Pieces::whole() const {
    std::string text;
    for (const Section& section : sections_) {
        for (std::size_t piece = 0; piece < section.count; ++piece) {
            section.write(piece, text);
        }
    }
    return text;
}

void Pieces::writeNext(std::string& out) {
    const Section& section = sections_[section_];
    section.write(piece_, out);
    if (++piece_ == section.count) {
        ++section_;
        piece_ = 0;
    }
}

} // namespace LagAgent
