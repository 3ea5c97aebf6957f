#include "recorder/snapshot/pixels.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using recorder::Pixels;

// A picture given as letters: one letter per pixel, rows separated by "/".
Pixels FromLetters(const std::string& letters) {
    const std::size_t stride = letters.find('/') + 1;
    Pixels picture(static_cast<int>(stride) - 1, static_cast<int>((letters.size() + 1) / stride));
    for (std::size_t i = 0; i < letters.size(); ++i) {
        if (letters[i] != '/') {
            uint8_t* const pixel =
                picture.At(static_cast<int>(i % stride), static_cast<int>(i / stride));
            pixel[0] = static_cast<uint8_t>(letters[i]);
            pixel[2] = static_cast<uint8_t>(letters[i] + 1);
        }
    }
    return picture;
}

std::string ToLetters(const Pixels& picture) {
    std::string letters;
    for (int y = 0; y < picture.height; ++y) {
        letters += y == 0 ? "" : "/";
        for (int x = 0; x < picture.width; ++x) {
            const uint8_t* const pixel = picture.At(x, y);
            letters += pixel[2] == pixel[0] + 1 ? static_cast<char>(pixel[0]) : '?';
        }
    }
    return letters;
}

std::string Turned(int orientation) {
    return ToLetters(recorder::TurnUpright(FromLetters("abc/def"), orientation));
}

TEST(PixelsTurn, LeavesAnUprightPictureUnchanged) {
    EXPECT_EQ(Turned(1), "abc/def");
}

TEST(PixelsTurn, MirrorsAndRotatesBy180Degrees) {
    EXPECT_EQ(Turned(2), "cba/fed");
    EXPECT_EQ(Turned(3), "fed/cba");
    EXPECT_EQ(Turned(4), "def/abc");
}

TEST(PixelsTurn, RotatesBy90Degrees) {
    EXPECT_EQ(Turned(5), "ad/be/cf");
    EXPECT_EQ(Turned(6), "da/eb/fc");
    EXPECT_EQ(Turned(7), "fc/eb/da");
    EXPECT_EQ(Turned(8), "cf/be/ad");
}

TEST(PixelsShrink, LeavesAPictureOfTheTargetWidthUnchanged) {
    EXPECT_EQ(ToLetters(recorder::ShrinkTo(FromLetters("abc/def"), 3)), "abc/def");
}

TEST(PixelsShrink, AveragesThePixels) {
    Pixels picture(2, 2);
    picture.At(0, 0)[0] = 10;
    picture.At(1, 0)[0] = 20;
    picture.At(0, 1)[1] = 255;
    picture.At(1, 1)[1] = 255;

    const Pixels small = recorder::ShrinkTo(picture, 1);

    ASSERT_EQ(small.width, 1);
    ASSERT_EQ(small.height, 1);
    EXPECT_EQ(small.At(0, 0)[0], 8); // 7.5, rounded
    EXPECT_EQ(small.At(0, 0)[1], 128);
    EXPECT_EQ(small.At(0, 0)[2], 0);
}

TEST(PixelsShrink, KeepsWhiteWhite) {
    Pixels picture(641, 481);
    picture.rgb.assign(picture.rgb.size(), 255);

    const Pixels small = recorder::ShrinkTo(picture, 320);

    EXPECT_EQ(small.height, 240);
    EXPECT_EQ(small.rgb, std::vector<uint8_t>(small.rgb.size(), 255));
}

TEST(PixelsShrink, KeepsAtLeastOneRow) {
    EXPECT_EQ(recorder::ShrinkTo(Pixels(5000, 1), 320).height, 1);
    EXPECT_EQ(recorder::ShrinkTo(Pixels(5000, 3), 1).height, 1);
}

TEST(PixelsShrink, UsesEveryPixelOnce) {
    Pixels picture(7, 1);
    for (int x = 0; x < 7; ++x) {
        picture.At(x, 0)[0] = static_cast<uint8_t>(x * 10);
    }

    const Pixels small = recorder::ShrinkTo(picture, 3);

    EXPECT_EQ(small.At(0, 0)[0], 5);  // 0 and 10
    EXPECT_EQ(small.At(1, 0)[0], 25); // 20 and 30
    EXPECT_EQ(small.At(2, 0)[0], 50); // 40, 50 and 60
}

} // namespace
