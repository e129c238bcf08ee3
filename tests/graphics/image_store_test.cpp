// The store of compiled-in images: what it holds, and how it answers for what it does not hold.
#include "graphics/image_store.h"

#include "tests/support/test_font.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

class ImageStoreTest : public GraphicsTest {};

std::string standardErrorOfGetImage(const std::string& path, Bitmap& image)
{
    testing::internal::CaptureStderr();
    image = getImage(path);
    return testing::internal::GetCapturedStderr();
}

TEST_F(ImageStoreTest, IsEmptyBeforeItIsBuilt)
{
    EXPECT_TRUE(imageStore.empty());
}

TEST_F(ImageStoreTest, HoldsExactly113ImagesOf47656PixelsOfWhich97AreGlyphs)
{
    buildImageStore();
    std::int32_t pixels = 0;
    for (const auto& [path, image] : imageStore) {
        pixels += image.getWidth() * image.getHeight();
    }
    EXPECT_EQ(imageStore.size(), 113U);
    EXPECT_EQ(pixels, 47656);
    EXPECT_EQ(std::count_if(imageStore.begin(), imageStore.end(),
                            [](const auto& entry) { return entry.first.starts_with("img/font8/"); }),
              97);
}

TEST_F(ImageStoreTest, ReplacesAnEntryThatIsStoredUnderTheSamePath)
{
    storeImage("img/wheel_0.png", {"#"});
    storeImage("img/extra.png", {"#."});
    buildImageStore();
    EXPECT_EQ(getImage("img/wheel_0.png").getWidth(), 51);
    EXPECT_THAT(getImage("img/extra.png"), shows({"#."}));
    buildImageStore();
    EXPECT_EQ(imageStore.size(), 114U);
}

TEST_F(ImageStoreTest, ReturnsTheLastWheelFrameAsADeepCopyOfZerosAndThrees)
{
    buildImageStore();
    Bitmap frame = getImage("img/wheel_7.png");
    ASSERT_EQ(frame.getWidth(), 51);
    ASSERT_EQ(frame.getHeight(), 51);
    for (const std::string& row : pictureOf(frame)) {
        EXPECT_EQ(row.find_first_not_of(".#"), std::string::npos) << row;
    }
    const Picture original = pictureOf(frame);
    frame.fill(2);
    EXPECT_THAT(getImage("img/wheel_7.png"), shows(original));
}

TEST_F(ImageStoreTest, ReturnsCopiesWithAStorageOfExactlyTheirPixels)
{
    Bitmap shrunk = bitmapOf({"####", "####"});
    shrunk.resize(3, 1);
    imageStore.insert_or_assign("shrunk.png", Bitmap(5, 5));
    imageStore["shrunk.png"] = shrunk;
    EXPECT_EQ(imageStore["shrunk.png"].getCapacity(), 25);
    EXPECT_EQ(getImage("shrunk.png").getCapacity(), 3);
}

struct MissingPath {
    const char* name;
    const char* path;
};

class MissingImage : public ImageStoreTest, public testing::WithParamInterface<MissingPath> {};

TEST_P(MissingImage, IsReportedOnOneLineEveryTimeAndReturnsAnEmptyBitmap)
{
    buildImageStore();
    const std::string path = GetParam().path;
    for (int time = 0; time < 2; ++time) {
        Bitmap image = bitmapOf({"#"});
        testing::internal::CaptureStdout();
        EXPECT_EQ(standardErrorOfGetImage(path, image), "Image in image buffer not avilable:" + path + '\n');
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(image.getWidth(), 0);
        EXPECT_EQ(image.getHeight(), 0);
        EXPECT_EQ(getImage("img/wheel_0.png").getWidth(), 51);
    }
    EXPECT_EQ(imageStore.size(), 113U);
}

INSTANTIATE_TEST_SUITE_P(
    Path, MissingImage,
    testing::Values(MissingPath{"ThatNeverWas", "img/wheel_8.png"}, MissingPath{"OfTheLineFeed", "img/font8/0a.png"},
                    MissingPath{"InUpperCase", "img/wheel_0.PNG"}, MissingPath{"WithoutItsEnding", "img/wheel_0"},
                    MissingPath{"WithoutItsFolder", "wheel_0.png"}, MissingPath{"ByAnotherWay", "./img/wheel_0.png"},
                    MissingPath{"WithoutAName", ""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(ImageStoreTest, ReturnsAMissingImageWithoutStorage)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(getImage("absent.png").getCapacity(), 0);
    (void)testing::internal::GetCapturedStderr();
}

TEST_F(ImageStoreTest, ReportsNothingForAStoredPath)
{
    buildImageStore();
    Bitmap image;
    EXPECT_EQ(standardErrorOfGetImage("img/button_update.png", image), "");
    EXPECT_EQ(image.getWidth(), 256);
}

TEST_F(ImageStoreTest, IsOrderedByteWiseWithTheShorterKeyFirst)
{
    for (const char* path : {"b", "a\xe9", "ab", "a", "Z", "aZ"}) {
        storeImage(path, {"#"});
    }
    std::vector<std::string> paths;
    for (const auto& entry : imageStore) {
        paths.push_back(entry.first);
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"Z", "a", "aZ", "ab", "a\xe9", "b"}));
}

} // namespace
