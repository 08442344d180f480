#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#ifndef _WIN32
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#endif

#include "image_io.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

TEST(Saving, NothingIsOverwrittenUnlessThatIsAskedFor) {
  const ScratchFolder folder;
  const auto file = [&](const char* name) { return display(folder / name); };
  std::filesystem::create_directory(folder / "other");
  for (const char* name : {"a.png", "b.png", "other/a.png"})
    write_image(folder / name, textured(30, 20, {3, 8}));
  const std::string before = text_of(folder / "a.png");

  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* message;
  } cases[] = {
      {{file("a.png"), file("a.png")}, 2, "--in-place"},
      {{file("a.png"), file("other/../a.png")}, 2, "--in-place"},
      {{file("a.png"), file("b.png"), "--out", display(folder.path())}, 2, "--in-place"},
      {{file("a.png"), file("other/a.png"), "--out", file("new")}, 2, "other/a.png and"},
      {{file("a.png"), "--in-place", "--format", "jpg"}, 2, "--in-place"},
      {{file("a.png"), file("b.png"), "--no-clobber"}, 0, ""},
      {{file("a.png"), "--in-place", "--dry-run"}, 0, ""},
      {{file("a.png"), file("new.png"), "--dry-run"}, 0, ""},
  };
  for (const auto& c : cases) {
    std::vector<std::string> arguments{"resize", "--scale", "50%"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const ToolRun run = run_tool(arguments);
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_EQ(text_of(folder / "a.png"), before);
    EXPECT_EQ(text_of(folder / "b.png"), before);
    EXPECT_EQ(folder.file_count(), 3u);
  }
  EXPECT_EQ(run_tool({"otf", file("a.png"), file("a.png")}).status, 2);

  ASSERT_EQ(run_tool({"resize", file("a.png"), "--in-place", "--scale", "50%"}).status, 0);
  EXPECT_EQ(read_image(folder / "a.png").width(), 15);
  ASSERT_EQ(run_tool({"blur", file("b.png"), "--suffix", "-soft", "--format", "tif", "--disk", "2"}).status,
            0);
  EXPECT_EQ(read_image(folder / "b-soft.tif").width(), 30);
}

TEST(Saving, ChannelsDepthAndBackgroundAreAsAskedFor) {
  const ScratchFolder folder;
  write_image(folder / "in.png", textured(40, 20, {3, 8}));
  const ToolRun run = run_tool({"resize", display(folder / "in.png"), display(folder / "out.tif"), "--pad",
                                "30x30", "--background", "#0080FF", "--depth", "16", "--mode", "BiCubic"});
  ASSERT_EQ(run.status, 0) << run.err;
  const Image out = read_image(folder / "out.tif");
  ASSERT_EQ(out.format(), (PixelFormat{3, 16}));
  ASSERT_EQ(out.height(), 30);
  for (const int y : {0, 6, 23, 29}) {
    EXPECT_EQ(out.sample(4, y, 0), 0);
    EXPECT_EQ(out.sample(4, y, 1), 0x80 * 257);
    EXPECT_EQ(out.sample(4, y, 2), 65535);
  }
  const std::string in = display(folder / "in.png");
  const ToolRun huge = run_tool({"resize", in, display(folder / "huge.png"), "--size", "641x20"});
  EXPECT_EQ(huge.status, 1);
  EXPECT_NE(huge.err.find("--force"), std::string::npos) << huge.err;
  EXPECT_EQ(run_tool({"resize", in, display(folder / "huge.png"), "--size", "641x20", "--force"}).status, 0);
}

#ifndef _WIN32

TEST(Saving, KeepsPermissionsAndSymbolicLinks) {
  const ScratchFolder folder;
  write_image(folder / "real.png", textured(30, 20, {3, 8}));
  ASSERT_EQ(chmod((folder / "real.png").c_str(), 0640), 0);
  std::filesystem::create_symlink("real.png", folder / "link.png");
  ASSERT_EQ(run_tool({"resize", display(folder / "link.png"), "--in-place", "--size", "x10"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.png"));
  EXPECT_EQ(read_image(folder / "real.png").height(), 10);
  struct stat now {};
  ASSERT_EQ(stat((folder / "real.png").c_str(), &now), 0);
  EXPECT_EQ(now.st_mode & 0777u, 0640u);
  EXPECT_EQ(folder.file_count(), 2u);
}

TEST(Saving, ReadsAndWritesPipes) {
  const ScratchFolder folder;
  write_image(folder / "in.tif", textured(30, 20, {3, 16}));
  const ToolRun run = run_tool({"resize", "-", "-", "--scale", "50%", "--format", "png"}, folder / "in.tif");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(run.err.empty()) << run.err;
  write_bytes(folder / "out.png", run.out);
  const Image out = read_image(folder / "out.png");
  EXPECT_EQ(out.width(), 15);
  EXPECT_EQ(out.format().bits, 16);

  const ToolRun device = run_tool({"resize", "/dev/stdin", "/dev/full", "--scale", "50%"}, folder / "in.tif");
  EXPECT_EQ(device.status, 1);
  EXPECT_NE(device.err.find("/dev/full: could not be written"), std::string::npos) << device.err;
  EXPECT_EQ(run_tool({"resize", "-", "-", "--scale", "1", "--json"}, folder / "in.tif").status, 2);
}

TEST(Saving, AFullDiskIsNamedInEveryFormat) {
  const ScratchFolder folder;
  write_image(folder / "in.png", textured(200, 200, {3, 8}));
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{16384, before.rlim_max};
  for (const char* name : {"out.png", "out.jpg", "out.tif", "out.npy"}) {
    const bool picture = std::string(name) != "out.npy";
    std::vector<std::string> arguments{"resize", display(folder / "in.png"), display(folder / name),
                                       "--scale", "1"};
    if (!picture) arguments = {"otf", display(folder / "in.png"), display(folder / name)};
    setrlimit(RLIMIT_FSIZE, &small);
    const ToolRun run = run_tool(arguments);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("is the disk full?"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(name), std::string::npos) << run.err;
    EXPECT_EQ(folder.file_count(), 1u);
  }
  signal(SIGXFSZ, handler);
}

TEST(Saving, NamesThatAreNotUtf8DoNotLoseTheReport) {
  const ScratchFolder folder;
  const auto odd = folder / "caf\xe9.png";
  write_image(odd, textured(30, 20, {3, 8}));
  const ToolRun run =
      run_tool({"resize", odd.string(), display(folder / "out.png"), "--scale", "50%", "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(nlohmann::json::parse(run.out)[0]["destination"]["width"], 15);
}

#endif

}  // namespace
}  // namespace kyv::host::test
