#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>

#include "examples/host_run.h"

namespace {

using mth_test::ProgramRun;
using mth_test::Quoted;
using mth_test::ScratchFolder;

struct Picture {
  int width = 0;
  int height = 0;
  std::string bytes;  // red, green and blue of each pixel
};

Picture Filled(int width, int height, const std::string& pixel) {
  Picture picture{width, height, {}};
  for (int i = 0; i < width * height; ++i) picture.bytes += pixel;
  return picture;
}

void Write(const std::string& path, const Picture& picture) {
  png_image header = {};
  header.version = PNG_IMAGE_VERSION;
  header.width = static_cast<png_uint_32>(picture.width);
  header.height = static_cast<png_uint_32>(picture.height);
  header.format = PNG_FORMAT_RGB;
  ASSERT_NE(png_image_write_to_file(&header, path.c_str(), 0, picture.bytes.data(), 0, nullptr), 0);
}

Picture Read(const std::string& path) {
  png_image header = {};
  header.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&header, path.c_str()) == 0) return {};
  header.format = PNG_FORMAT_RGB;
  Picture picture{static_cast<int>(header.width), static_cast<int>(header.height),
                  std::string(PNG_IMAGE_SIZE(header), '\0')};
  png_image_finish_read(&header, nullptr, picture.bytes.data(), 0, nullptr);
  return picture;
}

TEST(StackPictures, KeepsTheOrderAndFitsTheWidth) {
  const ScratchFolder folder;
  const std::string red("\xC8\x0A\x14", 3);
  const std::string blue("\x05\x14\xE6", 3);
  Write(folder / "wide.png", Filled(6, 2, red));
  Write(folder / "narrow.png", Filled(3, 2, blue));
  const ProgramRun run = mth_test::RunProgram(MTH_STACK_PICTURES, Quoted(folder / "wide.png") + " " +
                                                                      Quoted(folder / "narrow.png") + " -o " +
                                                                      Quoted(folder / "stack.png"));
  ASSERT_EQ(run.status, 0) << run.errors;
  const Picture stack = Read(folder / "stack.png");
  EXPECT_EQ(stack.width, 6);
  EXPECT_EQ(stack.height, 6);  // 2 rows, and 2 at twice their size
  EXPECT_EQ(stack.bytes, Filled(6, 2, red).bytes + Filled(6, 4, blue).bytes);
  const std::string named = Quoted(folder / "wide.png") + " -o " + Quoted(folder / "named.png") + " --names ";
  EXPECT_EQ(mth_test::RunProgram(MTH_STACK_PICTURES, named + "a,b").status, 2);
  ASSERT_EQ(mth_test::RunProgram(MTH_STACK_PICTURES, named + "a").status, 0);
  EXPECT_TRUE(Read(folder / "named.png").bytes.ends_with(Filled(6, 2, red).bytes));
  EXPECT_GT(Read(folder / "named.png").height, 2);
}

TEST(StackPictures, RefusesWhatIsNoPicture) {
  const ScratchFolder folder;
  Write(folder / "good.png", Filled(2, 2, "abc"));
  mth_test::WriteFile(folder / "text.png", "no picture");
  mth_test::WriteFile(folder / "cut.png", mth_test::ReadFile(folder / "good.png").substr(0, 50));
  for (const char* name : {"text.png", "cut.png", "missing.png"}) {
    const ProgramRun run =
        mth_test::RunProgram(MTH_STACK_PICTURES, Quoted(folder / "good.png") + " " + Quoted(folder / name) +
                                                     " -o " + Quoted(folder / "stack.png"));
    EXPECT_EQ(run.status, 2) << name;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(mth_test::ReadFile(folder / "stack.png"), "") << name;
  }
}

}  // namespace
