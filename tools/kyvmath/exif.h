#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "image.h"

// EXIF, through libexif. A block is what JPEG and PNG hold: it begins with its TIFF header.
namespace kyv::host::exif {

using Block = std::vector<std::uint8_t>;

// 1 when the block does not say.
int orientation_of(const Block& block);

// The picture's block as it is now: its orientation and size are the picture's, the thumbnail, which shows
// what the picture was, is left out. Empty when there is nothing to say.
Block block_for(const Image& image);

// A TIFF file holds the same in directories of its own. Both work on classic, finished files.
//
// `main_directory` is the offset of the picture's directory.
Block read_from_tiff(const std::filesystem::path& file, std::uint64_t main_directory);
// Adds the directories to the file, whose first directory has entries for their places.
void append_to_tiff(const std::filesystem::path& file, const Block& block);

// The texts of a block that belong into a TIFF file's main directory: tag and value.
std::vector<std::pair<int, std::string>> main_texts(const Block& block);
// Which directories the block has, as the tags that point to them.
std::vector<int> directories(const Block& block);

}  // namespace kyv::host::exif
