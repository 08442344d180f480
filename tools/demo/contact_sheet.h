#pragma once

#include <string>
#include <vector>

#include "canvas.h"

namespace kyv::samples {

struct Entry {
  host::Image image;
  std::string label;
};

// The pictures, not resized, in rows of `columns`, each above its label; columns and rows as wide and high as
// their largest picture.
Canvas contact_sheet(const Font& font, const std::string& title, int columns,
                     const std::vector<Entry>& entries);

}  // namespace kyv::samples
