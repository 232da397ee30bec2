#include "agent/outcome/Reply.h"

namespace LagAgent {

Pieces Reply::jsonPieces() const {
    ObjectPieces object;
    for (const Part& part : parts_) {
        if (part.table) {
            object.addArray(part.name, part.table->rows(),
                            [table = part.table](std::size_t row, std::string& out) {
                                table->appendJson(row, out);
                            });
        } else {
            object.add(part.name, part.value);
        }
    }
    return object.pieces();
}

Pieces Reply::textPieces() const {
    Pieces text;
    for (const Part& part : parts_) {
        text.add(part.text);
        if (part.table) {
            text.add(part.table->lines(), [table = part.table](std::size_t line, std::string& out) {
                table->appendLine(line, out);
            });
        }
    }
    return text;
}

} // namespace LagAgent
