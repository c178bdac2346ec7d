// Aligned columns with headings, for people.
#ifndef MOX_TOOL_TABLE_HPP
#define MOX_TOOL_TABLE_HPP

#include <string>
#include <vector>

#include "output.hpp"

namespace mox::tool {

enum class Align { left, right };

struct Column {
    std::string heading;
    Align align = Align::left;
};

// A cell is shown as shown(text); "" as "-", so that every row has all its columns.
struct Cell {
    Cell(std::string cell_text, Style cell_style = Style::plain)  // NOLINT: a text is a plain cell
        : text(std::move(cell_text)), style(cell_style) {}
    Cell(const char* cell_text) : text(cell_text) {}  // NOLINT
    std::string text;
    Style style = Style::plain;
};

class Table {
public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

    // cells: as many as columns.
    void add(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }

    bool is_empty() const { return rows_.empty(); }

    // Prints headings and rows; two spaces lie between columns, none at the end of a line.
    void print(Output& out) const;

private:
    void print_row(Output& out, const std::vector<Cell>& cells,
                   const std::vector<std::size_t>& widths) const;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

// Pairs of a name and a text, one a line, the texts aligned: what heads a listing of one thing.
class Facts {
public:
    void add(std::string name, std::string text);
    void print(Output& out) const;

private:
    std::vector<std::pair<std::string, std::string>> facts_;
};

}  // namespace mox::tool

#endif
