// Which cells are measured: named sets, and such as are drawn at random.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cells/conversion_cell.h"
#include "cells/resize_cell.h"

namespace kyv::bench {

// The cells of one or more sets, named with commas between them:
//   standard    A to D: 4 : 1, 5 : 4 and 1 : 2 of large pictures, 8 : 3 of a small one
//   own         identity (I), small pictures (S), growth with size, taps and channels (G)
//   ratios      other ratios (R): 3 : 1 to 1 : 16, odd sizes, one axis only, a region
//   thumbnails  6 : 1 to 60 : 1 from 12 and 24 million pixels (T)
//   small       16 x 16 to 128 x 128 (P)
//   sizes       4 : 1 and 5 : 4 from 0.75 to 192 million pixels (Z)
// or of none of them ("none"). `folder` holds the tables of the first two. Throws std::invalid_argument for
// an unknown name.
std::vector<ResizeCell> cells_of_sets(const std::string& names, const std::string& folder);

// `count` cells that depend on the seed alone: any format and filter, ratios from 60 : 1 to 1 : 16 (the same
// on both axes, differing, or on one axis only), up to 4000 pixels a side, a quarter of them regions (X).
std::vector<ResizeCell> random_cells(int count, std::uint64_t seed);

// Every format and filter for one size given as "1921x1081:777x555". Throws std::invalid_argument for other
// text.
std::vector<ResizeCell> cells_of_size(const std::string& size);

// Conversions in double precision of sizes written like "640x480,1021x64". Throws std::invalid_argument for
// other text.
std::vector<ConversionCell> conversions_of_sizes(const std::string& sizes);

// Squares in double precision whose sides, 20 to 1500, depend on the seed alone and differ: `count` of any
// length and then `primes` of a prime one, each part in ascending order.
std::vector<ConversionCell> random_squares(int count, int primes, std::uint64_t seed);

}  // namespace kyv::bench
