#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>
#include <vector>

#include "../error.h"
#include "../image_io.h"
#include "../modes.h"
#include "arguments.h"
#include "load.h"
#include "report.h"

namespace kyv::host {
namespace {

#ifdef __aarch64__
std::vector<std::string> instruction_sets() { return {"NEON"}; }

std::string kernel_set(const std::vector<std::string>&) { return "neon"; }
#else
// The built-in test looks at what the operating system saves, too.
std::vector<std::string> instruction_sets() {
  __builtin_cpu_init();
  const std::array<std::pair<const char*, bool>, 10> sets{{
      {"SSE2", __builtin_cpu_supports("sse2") != 0},
      {"SSE4.1", __builtin_cpu_supports("sse4.1") != 0},
      {"AVX", __builtin_cpu_supports("avx") != 0},
      {"AVX2", __builtin_cpu_supports("avx2") != 0},
      {"FMA", __builtin_cpu_supports("fma") != 0},
      {"AVX-512F", __builtin_cpu_supports("avx512f") != 0},
      {"AVX-512BW", __builtin_cpu_supports("avx512bw") != 0},
      {"AVX-512VL", __builtin_cpu_supports("avx512vl") != 0},
      {"AVX-512DQ", __builtin_cpu_supports("avx512dq") != 0},
      {"AVX-512VBMI", __builtin_cpu_supports("avx512vbmi") != 0},
  }};
  std::vector<std::string> names;
  for (const auto& [name, offered] : sets) {
    if (offered) names.emplace_back(name);
  }
  return names;
}

// The kernels that the library chooses on this processor: the best set whose instructions are all there.
std::string kernel_set(const std::vector<std::string>& offered) {
  const auto has = [&](std::initializer_list<const char*> names) {
    return std::ranges::all_of(
        names, [&](const char* name) { return std::ranges::find(offered, name) != offered.end(); });
  };
  if (!has({"SSE2"})) return "scalar";
  if (!has({"AVX2", "FMA"})) return "sse2";
  if (!has({"AVX-512F", "AVX-512BW", "AVX-512VL", "AVX-512DQ"})) return "avx2";
  return has({"AVX-512VBMI"}) ? "avx512vbmi" : "avx512";
}
#endif

constexpr std::array<const char*, 5> kLimits{
    "a row of pixels: 2^31-1 bytes; a side: 2^31-1 pixels; in a 32-bit process some 2 GiB for everything",
    "super only reduces: neither side may grow",
    "a picture with a side below 6 pixels: lanczos works as cubic; below 4, lanczos and cubic work as linear",
    "a transformed plane: 2^31-1 values; any lengths, quickest without prime factors above 7",
    "JPEG: 65500 pixels a side; deeper or transparent pictures become 8-bit and opaque",
};

Json describe_library(const CommonOptions& common) {
  const Library library = load_library(common);
  const std::string version = library.version();
  Json json;
  json["library"] = display(library.file());
  json["library_version"] = version.empty() ? Json() : Json(version);
  json["tool_version"] = KYVMATH_VERSION;
  json["bits"] = 8 * sizeof(void*);
  json["processors"] = platform::processor_count();
  json["instruction_sets"] = instruction_sets();
  json["kernels"] = kernel_set(instruction_sets());
  json["modes"] = Json::array();
  for (const Mode& mode : kModes) {
    json["modes"].push_back({{"name", mode.name}, {"value", mode.value}, {"description", mode.description}});
  }
  json["reads"] = {"PNG", "JPEG", "TIFF"};
  json["writes"] = {"PNG", "JPEG", "TIFF"};
  json["formats"] = {"8-bit grey", "8-bit RGB", "8-bit RGBA", "16-bit grey", "16-bit RGB", "16-bit RGBA"};
  json["limits"] = kLimits;
  return json;
}

std::string joined(const Json& list) {
  std::string text;
  for (const auto& item : list) text += (text.empty() ? "" : ", ") + item.get<std::string>();
  return text;
}

void print_library(const Json& json) {
  const Json& version = json["library_version"];
  std::printf("library           %s\n", json["library"].get<std::string>().c_str());
  std::printf("version           %s (this program: %s, %d-bit)\n",
              version.is_null() ? "not stated" : version.get<std::string>().c_str(), KYVMATH_VERSION,
              json["bits"].get<int>());
  std::printf("processors        %u\n", json["processors"].get<unsigned>());
  std::printf("instruction sets  %s\n", joined(json["instruction_sets"]).c_str());
  std::printf("kernels           %s\n", json["kernels"].get<std::string>().c_str());
  std::printf("files             reads and writes %s\n", joined(json["reads"]).c_str());
  std::printf("formats           %s\n", joined(json["formats"]).c_str());
  std::printf("modes\n");
  for (const Mode& mode : kModes) {
    std::printf("  %-14s  %s\n", std::string(mode.name).c_str(), std::string(mode.description).c_str());
  }
  std::printf("limits\n");
  for (const char* limit : kLimits) std::printf("  %s\n", limit);
}

Json describe_picture(const std::string& name) {
  const Image image = read_image(to_path(name), false);
  const Metadata& metadata = image.metadata;
  const bool lies = metadata.orientation >= 5;
  Json json{{"file", name},
            {"width", lies ? image.height() : image.width()},
            {"height", lies ? image.width() : image.height()},
            {"channels", image.format().channels},
            {"bits", image.format().bits},
            {"orientation", metadata.orientation},
            {"exif_bytes", metadata.exif.size()},
            {"xmp_bytes", metadata.xmp.size()},
            {"icc_profile_bytes", metadata.icc_profile.size()}};
  json["dpi"] = metadata.dpi_x > 0 ? Json{metadata.dpi_x, metadata.dpi_y} : Json();
  json["premultiplied"] = metadata.premultiplied;
  return json;
}

void print_picture(const Json& json) {
  const PixelFormat format{json["channels"].get<int>(), json["bits"].get<int>()};
  std::string line = json["file"].get<std::string>() + "  " + std::to_string(json["width"].get<int>()) + "x" +
                     std::to_string(json["height"].get<int>()) + "  " + describe(format);
  if (!json["dpi"].is_null()) {
    char dpi[48];
    std::snprintf(dpi, sizeof dpi, "  %.4g x %.4g dpi", json["dpi"][0].get<double>(),
                  json["dpi"][1].get<double>());
    line += dpi;
  }
  if (json["orientation"] != 1) line += "  orientation " + std::to_string(json["orientation"].get<int>());
  for (const auto& [what, key] : std::initializer_list<std::pair<const char*, const char*>>{
           {"EXIF", "exif_bytes"}, {"XMP", "xmp_bytes"}, {"ICC profile", "icc_profile_bytes"}}) {
    const auto bytes = json[key].get<std::size_t>();
    if (bytes > 0) line += std::string("  ") + what + " of " + std::to_string(bytes) + " bytes";
  }
  if (json["premultiplied"].get<bool>()) line += "  premultiplied";
  std::printf("%s\n", line.c_str());
}

ExitStatus run_info(const CommonOptions& common, const std::vector<std::string>& files) {
  if (files.empty()) {
    const Json json = describe_library(common);
    if (common.json) {
      print_json(json);
    } else {
      print_library(json);
    }
    return kSuccess;
  }
  ExitStatus status = kSuccess;
  Json pictures = Json::array();
  for (const std::string& file : files) {
    try {
      pictures.push_back(describe_picture(file));
      if (!common.json) print_picture(pictures.back());
    } catch (const Error& error) {
      std::fprintf(stderr, "kyvmath: %s\n", error.what());
      pictures.push_back({{"file", file}, {"error", error.what()}});
      status = kSomeFailed;
    }
  }
  if (common.json) print_json(pictures);
  return status;
}

}  // namespace

void add_info_command(CommandLine& program, const CommonOptions& common) {
  auto files = std::make_shared<std::vector<std::string>>();
  Arguments command =
      program.command("info", "Tell about the library, the processor, modes, formats and limits",
                      "With files: what each picture holds. Sizes are those of the upright picture.",
                      [=, &common] { return run_info(common, *files); });
  command.positionals(*files, "Pictures to tell about instead", 0, 0);
}

}  // namespace kyv::host
