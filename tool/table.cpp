// Widths are counted as a terminal shows them, not in bytes.
#include "table.hpp"

#include <algorithm>

namespace mox::tool {
namespace {

constexpr std::size_t gap = 2;

std::string text_of(const Cell& cell) {
    return cell.text.empty() ? "-" : shown(cell.text);
}

}  // namespace

void Table::print(Output& out) const {
    std::vector<Cell> headings;
    std::vector<std::size_t> widths;
    for (const Column& column : columns_) {
        headings.emplace_back(column.heading, Style::heading);
        widths.push_back(width_of(column.heading));
    }
    for (const std::vector<Cell>& row : rows_) {
        for (std::size_t at = 0; at < columns_.size(); ++at) {
            widths[at] = std::max(widths[at], width_of(text_of(row.at(at))));
        }
    }
    print_row(out, headings, widths);
    for (const std::vector<Cell>& row : rows_) {
        print_row(out, row, widths);
    }
}

void Table::print_row(Output& out, const std::vector<Cell>& cells,
                      const std::vector<std::size_t>& widths) const {
    std::string line;
    std::size_t owed = 0;  // spaces before the next text
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        const std::string text = text_of(cells[at]);
        const std::size_t space = widths[at] - width_of(text);
        const bool is_right = columns_[at].align == Align::right;
        line.append(owed + (is_right ? space : 0), ' ');
        line += out.styled(cells[at].style, text);
        owed = gap + (is_right ? 0 : space);
    }
    out.line(line);
}

void Facts::add(std::string name, std::string text) {
    facts_.emplace_back(std::move(name), std::move(text));
}

void Facts::print(Output& out) const {
    std::size_t width = 0;
    for (const auto& [name, text] : facts_) {
        width = std::max(width, width_of(name));
    }
    for (const auto& [name, text] : facts_) {
        const std::string space(width - width_of(name) + gap, ' ');
        out.line(out.styled(Style::heading, name) + space + (text.empty() ? "-" : shown(text)));
    }
}

}  // namespace mox::tool
