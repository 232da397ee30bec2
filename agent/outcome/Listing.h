#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace LagAgent {

/// A number that people read in hexadecimal; a number like any other for tools.
struct Hex {
    std::uint32_t value;
};

using Ids = std::vector<std::uint32_t>;

/// A value in a table: none, or one of these.
using Cell = std::variant<std::monostate, bool, std::uint64_t, Hex, std::string, Ids>;
using Cells = std::vector<Cell>;

/// A table of values: rows under named columns. In JSON an array of objects, for people aligned
/// columns under their names, or one line when it is empty. It is written row by row.
class Listing {
  public:
    /// Makes the cells of a row. What it makes them from must not change.
    using RowOf = std::function<Cells(std::size_t row)>;

    explicit Listing(std::vector<std::string> columns) : Listing(std::move(columns), 0, {}) {}
    /// REQUIRES: each row has one cell for each column.
    Listing(std::vector<std::string> columns, std::size_t rows, RowOf rowOf);

    /// REQUIRES: made without rows; one cell for each column.
    void add(Cells row) { given_.push_back(std::move(row)); }

    std::size_t rows() const noexcept { return rowOf_ ? rows_ : given_.size(); }
    /// Appends the row as a JSON object.
    void appendJson(std::size_t row, std::string& out);
    /// The number of lines of text, of the columns' names too.
    std::size_t lines() const noexcept { return rows() + 1; }
    /// Appends a line. The first one measures the rows of which the JSON was not written.
    void appendLine(std::size_t line, std::string& out);

  private:
    Cells cells(std::size_t row) const { return rowOf_ ? rowOf_(row) : given_.at(row); }
    void measure(const Cells& row);

    std::vector<std::string> columns_;
    std::vector<std::string> names_; // of the members in JSON, with quotes and colon
    std::vector<std::size_t> widths_;
    std::size_t measured_ = 0; // rows before this one are in the widths
    std::size_t rows_;
    RowOf rowOf_;
    std::vector<Cells> given_;
};

} // namespace LagAgent
