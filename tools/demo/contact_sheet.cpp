#include "contact_sheet.h"

#include <algorithm>

#include "error.h"

namespace kyv::samples {
namespace {

constexpr int kGap = 14;
constexpr int kLabelHeight = 24;
constexpr int kTitleHeight = 40;
constexpr double kLabelSize = 16;
constexpr double kTitleSize = 24;
constexpr Colour kGround{0.93, 0.93, 0.93, 1};
constexpr Colour kInk{0.1, 0.1, 0.12, 1};

}  // namespace

Canvas contact_sheet(const Font& font, const std::string& title, int columns,
                     const std::vector<Entry>& entries) {
  if (columns < 1 || entries.empty()) throw host::Error("a contact sheet needs pictures and columns");
  const auto count = static_cast<int>(entries.size());
  const int rows = (count + columns - 1) / columns;
  std::vector<int> widths(static_cast<std::size_t>(columns), 0);
  std::vector<int> heights(static_cast<std::size_t>(rows), 0);
  for (int i = 0; i < count; ++i) {
    const Entry& entry = entries[static_cast<std::size_t>(i)];
    int& width = widths[static_cast<std::size_t>(i % columns)];
    int& height = heights[static_cast<std::size_t>(i / columns)];
    const int label = static_cast<int>(font.width(kLabelSize, entry.label)) + 1;
    width = std::max({width, entry.image.width(), label});
    height = std::max(height, entry.image.height());
  }
  int total_width = kGap;
  for (const int width : widths) total_width += width + kGap;
  int total_height = kTitleHeight + kGap;
  for (const int height : heights) total_height += height + kLabelHeight + kGap;

  Canvas sheet(std::max(total_width, static_cast<int>(font.width(kTitleSize, title)) + 2 * kGap),
               total_height, kGround);
  font.draw(sheet, kGap, kTitleHeight - 8, kTitleSize, title, kInk);
  int y = kTitleHeight;
  for (int row = 0; row < rows; ++row) {
    int x = kGap;
    for (int column = 0; column < columns && row * columns + column < count; ++column) {
      const Entry& entry = entries[static_cast<std::size_t>(row * columns + column)];
      sheet.paste(entry.image, x, y);
      font.draw(sheet, x, y + entry.image.height() + kLabelHeight - 6, kLabelSize, entry.label, kInk);
      x += widths[static_cast<std::size_t>(column)] + kGap;
    }
    y += heights[static_cast<std::size_t>(row)] + kLabelHeight + kGap;
  }
  return sheet;
}

}  // namespace kyv::samples
