#include "agent/ShowText.h"

#include <algorithm>

#include "agent/FlowText.h"
#include "agent/TextTable.h"

namespace Agent {

namespace {

std::string field(Json const& row, char const* name, std::string const& prefix = {}) {
    return row.contains(name) ? prefix + scalarText(row[name]) : std::string();
}

std::string labelsText(Json const& labels) {
    std::string text;
    for (auto const& label : labels) text += (text.empty() ? "" : " ") + scalarText(label);
    return text;
}

/// "down: no-usable-candidate".
std::string stateText(Json const& row) {
    return field(row, "state") + field(row, "reason", ": ");
}

void addCandidate(std::string const& name, Json const& candidate, TextTable& table) {
    table.add({"  " + name, stateText(candidate), field(candidate, "preference", "preference "),
               field(candidate, "bsid", "bsid "), field(candidate, "from", "from ")});
    for (auto const& [list, row] : candidate["lists"].items()) {
        table.add({"    " + list, stateText(row), field(row, "weight", "weight "),
                   field(row, "id", "list "), labelsText(row["labels"])});
    }
}

void printPolicy(std::ostream& out, std::string const& key, Json const& row, Paint const& paint) {
    auto const state = stateText(row);
    out << paint.strong(key) << "  "
        << (row["state"] == "up" ? paint.good(state) : paint.bad(state))
        << field(row, "active", ", active ") << field(row, "bsid", ", BSID ") << '\n';
    if (!row.contains("candidates")) return;
    TextTable table;
    for (auto const& [name, candidate] : row["candidates"].items()) {
        addCandidate(name, candidate, table);
    }
    table.print(out);
}

/// A line for each entry of a client, and below a group one for each of its next hops.
void printGribi(std::ostream& out, Rows const& rows) {
    TextTable table;
    for (auto const& [word, entries] : rows) {
        if (!entries.is_object()) {
            table.add({word, scalarText(entries)});
            continue;
        }
        for (auto const& [id, entry] : entries.items()) {
            auto const labels = entry.contains("labels") ? labelsText(entry["labels"]) : "";
            table.add({word, id, stateText(entry),
                       labels + field(entry, "fec", "FEC ") + field(entry, "group", "group ")});
            if (!entry.contains("next-hops")) continue;
            for (auto const& [nextHop, member] : entry["next-hops"].items()) {
                table.add({"  nh", nextHop, stateText(member), field(member, "weight", "weight ")});
            }
        }
    }
    table.print(out);
}

/// The lines of a cell: one, or one for each object of an array.
std::vector<std::string> cellLines(Json const& row, std::string const& column) {
    if (!row.contains(column)) return {""};
    auto const& cell = row[column];
    if (!cell.is_array() || cell.empty() || !cell[0].is_object()) {
        return {cell.is_array() ? labelsText(cell) : flowText(cell)};
    }
    std::vector<std::string> lines;
    for (auto const& element : cell) lines.push_back(flowText(element));
    return lines;
}

/// Every member that some row has, in the order of their first appearance.
std::vector<std::string> columnsOf(Rows const& rows) {
    std::vector<std::string> columns;
    for (auto const& [key, row] : rows) {
        for (auto const& [name, value] : row.items()) {
            if (std::find(columns.begin(), columns.end(), name) == columns.end()) {
                columns.push_back(name);
            }
        }
    }
    return columns;
}

void addRow(TextTable::Line const& begin, Json const& row, std::vector<std::string> const& columns,
            TextTable& table) {
    std::vector<std::vector<std::string>> cells;
    std::size_t height = 1;
    for (auto const& column : columns) {
        cells.push_back(cellLines(row, column));
        height = std::max(height, cells.back().size());
    }
    for (std::size_t i = 0; i < height; ++i) {
        auto line = i == 0 ? begin : TextTable::Line(begin.size());
        for (auto const& cell : cells) line.push_back(i < cell.size() ? cell[i] : "");
        table.add(std::move(line));
    }
}

/// Messages tell their identifiers themselves.
void printTable(std::ostream& out, std::string const& word, Rows const& rows) {
    using Line = TextTable::Line;
    bool const keyed = word != "syslog";
    auto const columns = columnsOf(rows);
    auto head = keyed ? Line{word} : Line();
    head.insert(head.end(), columns.begin(), columns.end());
    TextTable table;
    table.add(std::move(head));
    for (auto const& [key, row] : rows) addRow(keyed ? Line{key} : Line(), row, columns, table);
    table.print(out);
}

}  // namespace

void printJson(std::ostream& out, std::string const& at, std::string const& word,
               Rows const& rows) {
    bool const array = word == "syslog";
    out << "{\"schema\": \"srte/1\", \"at\": " << Json(at).dump() << ", " << Json(word).dump()
        << ": " << (array ? '[' : '{');
    char const* separator = "\n";
    for (auto const& [key, row] : rows) {
        out << separator << "  ";
        if (!array) out << Json(key).dump() << ": ";
        out << row.dump();
        separator = ",\n";
    }
    out << (rows.empty() ? "" : "\n") << (array ? ']' : '}') << "}\n";
}

void printText(std::ostream& out, std::string const& word, Rows const& rows, Paint const& paint) {
    if (word == "policy") {
        for (auto const& [key, row] : rows) printPolicy(out, key, row, paint);
    } else if (word == "gribi") {
        printGribi(out, rows);
    } else if (word == "trace") {
        for (auto const& [key, paths] : rows) {
            out << paint.strong(key) << '\n';
            printPaths(out, "  ", paths);
        }
    } else {
        printTable(out, word, rows);
    }
}

void printPaths(std::ostream& out, std::string const& indent, Json const& paths) {
    constexpr std::size_t shareWidth = 7;
    TextTable table(indent);
    for (auto const& path : paths) {
        auto share = scalarText(path["share"]);
        if (share.size() < shareWidth) share.insert(0, shareWidth - share.size(), ' ');
        auto const labels = labelsText(path["out"]);
        table.add(
            {share, field(path, "if"), field(path, "nh"), labels.empty() ? "no label" : labels});
    }
    table.print(out);
}

}  // namespace Agent
