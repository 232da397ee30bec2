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

/// Appends a cell as tools read it.
void appendJson(const Cell& cell, std::string& out);

/// A table of values: rows under named columns. In JSON an array of objects, for people aligned
/// columns under their names, or one line when it is empty. It is written row by row.
class Listing {
  public:
    /// Makes the cells of a row. What it makes them from must not change.
    using RowOf = std::function<Cells(std::size_t row)>;

    explicit Listing(std::vector<std::string> columns) : Listing(std::move(columns), 0, {}) {}
    /// REQUIRES: each row has one cell for each column.
    Listing(std::vector<std::string> columns, std::size_t rows, RowOf rowOf);

    /// For people only these columns, by their numbers, one after the other and without names, as
    /// in a log. REQUIRES: there are such columns.
    void linesAre(Ids columns) { lineColumns_ = std::move(columns); }
    /// REQUIRES: made without rows; one cell for each column.
    void add(Cells row) { given_.push_back(std::move(row)); }

    const std::vector<std::string>& columns() const noexcept { return columns_; }
    /// Empty where all columns are for people.
    const Ids& lineColumns() const noexcept { return lineColumns_; }
    std::size_t rows() const noexcept { return rowOf_ ? rows_ : given_.size(); }
    Cells cells(std::size_t row) const { return rowOf_ ? rowOf_(row) : given_.at(row); }

    /// Appends the row as a JSON object.
    void appendJson(std::size_t row, std::string& out) const;
    /// The number of lines of text, of the columns' names too.
    std::size_t lines() const noexcept { return rows() + (isAligned() ? 1 : 0); }
    /// Appends a line. The first one measures the rows.
    void appendLine(std::size_t line, std::string& out);

  private:
    bool isAligned() const noexcept { return lineColumns_.empty(); }
    void measure();

    std::vector<std::string> columns_;
    std::vector<std::string> names_;  // of the members in JSON, with quotes and colon
    std::vector<std::size_t> widths_; // once measured
    Ids lineColumns_;
    std::size_t rows_;
    RowOf rowOf_;
    std::vector<Cells> given_;
};

} // namespace LagAgent
