#include "common/csv.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kyv::bench {
namespace {

std::vector<std::string> split(const std::string& line, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(line);
  for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
  if (!line.empty() && line.back() == separator) fields.emplace_back();
  return fields;
}

std::vector<TableRow> read_table(const std::string& path, char separator) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<std::string> columns;
  std::vector<TableRow> rows;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line.front() == '#') continue;
    const std::vector<std::string> fields = split(line, separator);
    if (columns.empty()) {
      columns = fields;
      continue;
    }
    if (fields.size() != columns.size()) throw std::runtime_error(path + ": uneven row: " + line);
    TableRow row;
    for (std::size_t i = 0; i < fields.size(); ++i) row[columns[i]] = fields[i];
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace

CsvTable::CsvTable(std::vector<std::string> columns) { rows_.push_back(std::move(columns)); }

void CsvTable::add_row(std::vector<std::string> fields) {
  if (fields.size() != rows_.front().size()) throw std::invalid_argument("row of another width");
  rows_.push_back(std::move(fields));
}

void CsvTable::write(const std::string& path) const {
  std::ofstream file(path);
  for (const std::vector<std::string>& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) file << (i == 0 ? "" : ",") << row[i];
    file << '\n';
  }
  file.flush();
  if (!file) throw std::runtime_error("cannot write " + path);
}

std::string figure(double value, int digits) {
  if (std::isnan(value)) return {};
  char text[64];
  std::snprintf(text, sizeof text, "%.*g", digits, value);
  return text;
}

std::vector<TableRow> read_tsv(const std::string& path) { return read_table(path, '\t'); }
std::vector<TableRow> read_csv(const std::string& path) { return read_table(path, ','); }

}  // namespace kyv::bench
