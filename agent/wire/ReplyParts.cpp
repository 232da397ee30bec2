#include "agent/wire/ReplyParts.h"

#include <algorithm>

#include "agent/wire/Received.h"

namespace LagAgent {

namespace {

// ---- There ---------------------------------------------------------------------------------

void appendRow(const Cells& row, std::string& out) {
    out += '[';
    for (std::size_t i = 0; i < row.size(); ++i) {
        const bool isHex = std::holds_alternative<Hex>(row[i]);
        out += i == 0 ? "" : ",";
        out += isHex ? "{\"hex\":" : "";
        appendJson(row[i], out);
        out += isHex ? "}" : "";
    }
    out += ']';
}

Pieces partOf(const Reply::Part& part) {
    ObjectPieces object;
    object.add("name", part.name);
    if (!part.table) {
        object.add("value", part.value);
        object.add("text", part.text);
        return object.pieces();
    }
    object.add("title", part.text);
    object.add("columns", part.table->columns());
    if (!part.table->lineColumns().empty()) {
        object.add("lines", part.table->lineColumns());
    }
    object.addArray("rows", part.table->rows(),
                    [table = part.table](std::size_t row, std::string& out) {
                        appendRow(table->cells(row), out);
                    });
    return object.pieces();
}

// ---- And back ------------------------------------------------------------------------------

Cell cellOf(const Json& json) {
    switch (json.type()) {
    case Json::value_t::null:
        return {};
    case Json::value_t::boolean:
        return json.get<bool>();
    case Json::value_t::number_unsigned:
        return json.get<std::uint64_t>();
    case Json::value_t::string:
        return json.get<std::string>();
    case Json::value_t::object:
        return Hex{numberOf(json, "hex")};
    case Json::value_t::array:
        return idsIn(json);
    default:
        makesNoSense("a table in an answer has a value of no kind that tables have");
    }
}

Cells cellsOf(const Json& row, std::size_t columns) {
    if (!row.is_array() || row.size() != columns) {
        makesNoSense("a table in an answer has a row that does not fit its columns");
    }
    Cells cells;
    cells.reserve(columns);
    std::ranges::transform(row, std::back_inserter(cells), cellOf);
    return cells;
}

Listing tableOf(const Json& part) {
    const std::size_t columns = arrayOf(part, "columns").size();
    Listing table(wordsOf(part, "columns"));
    if (part.contains("lines")) {
        const Ids lines = idsIn(arrayOf(part, "lines"));
        if (std::ranges::any_of(lines, [=](auto column) { return column >= columns; })) {
            makesNoSense("a table in an answer has lines of columns that it has not");
        }
        table.linesAre(lines);
    }
    for (const Json& row : arrayOf(part, "rows")) {
        table.add(cellsOf(row, columns));
    }
    return table;
}

} // namespace

Pieces partsOf(const Reply& reply) {
    Pieces parts;
    for (const Reply::Part& part : reply.parts()) {
        parts.add(parts.isEmpty() ? "[" : ",");
        parts.add(partOf(part));
    }
    parts.add(parts.isEmpty() ? "[]" : "]");
    return parts;
}

Reply replyOf(const Json& answer) {
    Reply reply;
    for (const Json& part : arrayOf(answer, "parts")) {
        const std::string name = textOf(part, "name");
        if (part.contains("columns")) {
            reply.add(name, tableOf(part), textOf(part, "title"));
        } else if (part.contains("value")) {
            reply.add(name, part["value"], textOf(part, "text"));
        } else {
            makesNoSense("a part of an answer is neither a table nor a value");
        }
    }
    return reply;
}

} // namespace LagAgent
