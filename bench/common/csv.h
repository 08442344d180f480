// Tables as files.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kyv::bench {

// A table with a header row. Fields hold no separator; a missing figure is an empty field.
class CsvTable {
 public:
  explicit CsvTable(std::vector<std::string> columns);

  void add_row(std::vector<std::string> fields);  // throws std::invalid_argument for another column count
  void write(const std::string& path) const;      // throws std::runtime_error when the file cannot be written

 private:
  std::vector<std::vector<std::string>> rows_;
};

// A figure with `digits` significant digits; empty for NaN.
std::string figure(double value, int digits = 4);

using TableRow = std::map<std::string, std::string>;  // by column name

// Rows of a tab- or comma-separated file; lines starting with '#' are comments and the first other line
// names the columns. Throws std::runtime_error when the file is missing or a row has another width.
std::vector<TableRow> read_tsv(const std::string& path);
std::vector<TableRow> read_csv(const std::string& path);

}  // namespace kyv::bench
