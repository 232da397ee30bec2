#include "agent/outcome/Listing.h"

#include <algorithm>
#include <charconv>

#include "agent/outcome/JsonPieces.h"

namespace LagAgent {

namespace {

void appendNumber(std::uint64_t number, std::string& out, int base = 10) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number, base).ptr;
    out.append(digits, end);
}

void appendIds(const Ids& ids, const char* between, std::string& out) {
    for (std::size_t i = 0; i < ids.size(); ++i) {
        out += i == 0 ? "" : between;
        appendNumber(ids[i], out);
    }
}

/// A cell as tools read it.
struct InJson {
    std::string& out;

    void operator()(std::monostate) const { out += "null"; }
    void operator()(bool flag) const { out += flag ? "true" : "false"; }
    void operator()(std::uint64_t number) const { appendNumber(number, out); }
    void operator()(Hex number) const { appendNumber(number.value, out); }
    void operator()(const std::string& text) const {
        out += '"';
        appendEscaped(text, out);
        out += '"';
    }
    void operator()(const Ids& ids) const {
        out += '[';
        appendIds(ids, ",", out);
        out += ']';
    }
};

/// A cell as people read it.
struct InText {
    std::string& out;

    void operator()(std::monostate) const { out += '-'; }
    void operator()(bool flag) const { out += flag ? "yes" : "no"; }
    void operator()(std::uint64_t number) const { appendNumber(number, out); }
    void operator()(Hex number) const {
        out += "0x";
        appendNumber(number.value, out, 16);
    }
    void operator()(const std::string& text) const { out += text; }
    void operator()(const Ids& ids) const {
        out += ids.empty() ? "-" : "";
        appendIds(ids, ", ", out);
    }
};

} // namespace

void appendJson(const Cell& cell, std::string& out) {
    std::visit(InJson{out}, cell);
}

Listing::Listing(std::vector<std::string> columns, std::size_t rows, RowOf rowOf)
    : columns_(std::move(columns)), rows_(rows), rowOf_(std::move(rowOf)) {
    for (const std::string& column : columns_) {
        names_.push_back(toText(column) + ":");
    }
}

void Listing::appendJson(std::size_t row, std::string& out) const {
    const Cells values = cells(row);
    for (std::size_t i = 0; i < values.size(); ++i) {
        out += i == 0 ? '{' : ',';
        out += names_[i];
        LagAgent::appendJson(values[i], out);
    }
    out += '}';
}

void Listing::measure() {
    for (const std::string& column : columns_) {
        widths_.push_back(column.size());
    }
    std::string text;
    for (std::size_t row = 0; row < rows(); ++row) {
        const Cells values = cells(row);
        for (std::size_t i = 0; i < values.size(); ++i) {
            text.clear();
            std::visit(InText{text}, values[i]);
            widths_[i] = std::max(widths_[i], text.size());
        }
    }
}

void Listing::appendLine(std::size_t line, std::string& out) {
    if (!isAligned()) {
        const Cells values = cells(line);
        for (const std::uint32_t column : lineColumns_) {
            out += "  ";
            std::visit(InText{out}, values[column]);
        }
        out += '\n';
        return;
    }
    if (rows() == 0) {
        out += "  none\n";
        return;
    }
    if (widths_.empty()) {
        measure();
    }
    const Cells values = line == 0 ? Cells(columns_.begin(), columns_.end()) : cells(line - 1);
    out += ' ';
    for (std::size_t i = 0; i < values.size(); ++i) {
        out += ' ';
        const std::size_t begin = out.size();
        std::visit(InText{out}, values[i]);
        out.append(widths_[i] - (out.size() - begin) + 1, ' ');
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
}

} // namespace LagAgent
