#include "recorder/snapshot/orientation.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

int OrientationOf(const std::string& jpeg) {
    return recorder::ExifOrientation({reinterpret_cast<const uint8_t*>(jpeg.data()), jpeg.size()});
}

// A segment of a picture, preceded by its marker and length.
std::string Segment(char marker, const std::string& content) {
    const auto length = static_cast<unsigned int>(content.size() + 2);
    return "\xff"s + marker + static_cast<char>(length >> 8U) + static_cast<char>(length) + content;
}

std::string Picture(const std::string& segments) {
    return "\xff\xd8"s + segments + "\xff\xda\0\x02"s;
}

std::string Exif(const std::string& tiff) {
    return Picture(Segment('\xe1', "Exif\0\0"s + tiff));
}

std::string BigEndian(int orientation) {
    return "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0"s + static_cast<char>(orientation) +
           "\0\0\0\0\0\0"s;
}

std::string LittleEndian(int orientation) {
    return "II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0"s + static_cast<char>(orientation) +
           "\0\0\0\0\0\0\0"s;
}

TEST(Orientation, IsReadInBothByteOrders) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
        EXPECT_EQ(OrientationOf(Exif(BigEndian(orientation))), orientation);
        EXPECT_EQ(OrientationOf(Exif(LittleEndian(orientation))), orientation);
    }
}

TEST(Orientation, IsUprightForAnInvalidNumber) {
    for (const int number : {0, 9, 100}) {
        EXPECT_EQ(OrientationOf(Exif(BigEndian(number))), 1) << number;
        EXPECT_EQ(OrientationOf(Exif(LittleEndian(number))), 1) << number;
    }
}

TEST(Orientation, IsUprightWithoutAnExifBlock) {
    EXPECT_EQ(OrientationOf(""), 1);
    EXPECT_EQ(OrientationOf("\xff\xd8"), 1);
    EXPECT_EQ(OrientationOf(Picture("")), 1);
    EXPECT_EQ(OrientationOf(Picture(Segment('\xe0', "JFIF\0"s))), 1);
    EXPECT_EQ(OrientationOf("no picture at all"), 1);
}

TEST(Orientation, IsFoundAfterOtherSegments) {
    EXPECT_EQ(OrientationOf(Picture(Segment('\xe0', "JFIF\0"s) +
                                    Segment('\xe1', "http://ns.adobe.com/xap/1.0/\0"s) +
                                    Segment('\xe1', "Exif\0\0"s + BigEndian(6)))),
              6);
}

TEST(Orientation, IsNotReadAfterTheStartOfTheScan) {
    EXPECT_EQ(
        OrientationOf("\xff\xd8\xff\xda\0\x02"s + Segment('\xe1', "Exif\0\0"s + BigEndian(6))), 1);
}

TEST(Orientation, IsFoundAfterOtherEntries) {
    const std::string other = "\x01\x0f\0\x02\0\0\0\x01XXXX"s;
    const std::string mark = "\x01\x12\0\x03\0\0\0\x01\0\x08\0\0"s;

    EXPECT_EQ(OrientationOf(Exif("MM\0*\0\0\0\x08\0\x02"s + other + mark)), 8);
}

TEST(Orientation, IsUprightWhereverTheBlockIsTruncated) {
    const std::string whole = Exif(BigEndian(6));
    for (std::size_t length = 0; length < whole.size() - 10; ++length) {
        const int orientation = OrientationOf(whole.substr(0, length));
        EXPECT_EQ(orientation, 1) << length;
    }
}

TEST(Orientation, IsUprightIfTheDirectoryIsOutsideTheBlock) {
    EXPECT_EQ(OrientationOf(Exif("MM\0*\xff\xff\xff\xff\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0"s)),
              1);
    EXPECT_EQ(OrientationOf(Exif("MM\0*\x7f\xff\xff\xff\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0"s)),
              1);
}

TEST(Orientation, IsUprightIfTheEntryCountIsTooLarge) {
    EXPECT_EQ(OrientationOf(Exif("MM\0*\0\0\0\x08\xff\xff\x01\x0f\0\x02\0\0\0\x01XXXX"s)), 1);
}

TEST(Orientation, IsUprightIfASegmentsLengthIsInvalid) {
    EXPECT_EQ(OrientationOf("\xff\xd8\xff\xe1\0\0Exif\0\0"s + BigEndian(6)), 1);
    EXPECT_EQ(OrientationOf("\xff\xd8\xff\xe1\xff\xff"s + "Exif\0\0"s + BigEndian(6)), 1);
}

} // namespace
