#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/failure.h>

#include <gtest/gtest.h>

#include <set>

namespace zel {
namespace {

using namespace std::string_literals;

Ref<const ByteSource> sourceOf(const std::string& bytes, std::string subject = "holiday.jpg")
{
    return ByteSource::of(Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end())), std::move(subject));
}

TEST(OpenPicture, SaysWhatItFoundInPlaceOfAPicture)
{
    const struct {
        const char* name;
        std::string bytes;
        ZelFailureCode code;
        const char* saying;
    } cases[] = {
        {"nothing", "", ZelFailureCode::truncated, "the file is empty"},
        {"one byte", "\xFF"s, ZelFailureCode::notAnImage, "data of an unknown kind"},
        {"a web page", "<!DOCTYPE html>\n<html>", ZelFailureCode::notAnImage, "a web page"},
        {"text", "Dear diary,\r\n\ttoday", ZelFailureCode::notAnImage, "it holds text"},
        {"zeros", std::string(500, '\0'), ZelFailureCode::notAnImage, "nothing but zeros"},
        {"half of a GIF's first letters", "GIF8"s, ZelFailureCode::notAnImage, "a GIF picture"},
        {"sound in the same container", "RIFF\x10\0\0\0WAVEfmt "s, ZelFailureCode::notAnImage,
         "data of an unknown kind"},
        {"a film", "\0\0\0\x18"s + "ftypisom", ZelFailureCode::notAnImage, "a film"},
        {"PDF", "%PDF-1.7\n", ZelFailureCode::notAnImage, "a PDF document"},
        {"nearly PNG", "\x89PNG\r\n\n", ZelFailureCode::notAnImage, "data of an unknown kind"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(openPicture(sourceOf(c.bytes)), nullptr);
        const ZelNote note = ZelFailure::last();
        EXPECT_EQ(note.code, c.code);
        EXPECT_EQ(note.subject, "holiday.jpg");
        EXPECT_NE(note.message.find(c.saying), std::string::npos) << note.message;
        if (c.code == ZelFailureCode::notAnImage) {
            EXPECT_NE(note.message.find("PNG"), std::string::npos) << "what can be read: " << note.message;
        }
    }
}

TEST(OpenPicture, WithoutASourceKeepsTheCause)
{
    ZelFailure::clear();
    EXPECT_EQ(openPicture(ByteSource::open(URL::file("/nowhere/at/all.png"))), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::notFound);
}

/// Each format's own first bytes, whatever the file's name says.
TEST(Codecs, ContentDecides)
{
    const struct {
        std::string_view codec;
        std::string head;
    } cases[] = {
        {"png", "\x89PNG\r\n\x1A\n\0\0\0\rIHDR"s},
        {"jpeg", "\xFF\xD8\xFF\xE0\0\x10JFIF\0"s},
        {"heif", "\0\0\0\x18"s + "ftypmif1\0\0\0\0mif1heic"s},
        {"heif", "\0\0\0\x18"s + "ftypheix\0\0\0\0mif1heix"s},
        {"avif", "\0\0\0\x1C"s + "ftypmif1\0\0\0\0mif1avifmiaf"s},
        {"tiff", "II*\0\x08\0\0\0"s},
        {"tiff", "MM\0*\0\0\0\x08"s},
        {"tiff", "II+\0\x08\0\0\0\x10\0\0\0\0\0\0\0"s},
        {"tiff", "MM\0+\0\x08\0\0\0\0\0\0\0\0\0\x10"s},
        {"webp", "RIFF\x10\0\0\0WEBPVP8 "s},
        {"gif", "GIF87a\1\0\1\0\0\0\0"s},
        {"jxl", "\xFF\x0A\xFA"s},
        {"jxl", "\0\0\0\x0CJXL \x0D\x0A\x87\x0A"s},
        {"jp2", "\xFF\x4F\xFF\x51\0"s},
        {"jp2", "\0\0\0\x0CjP  \x0D\x0A\x87\x0A"s},
        {"bmp", "BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0"s},
        {"ico", "\0\0\1\0\1\0"s},
        {"ico", "\0\0\2\0\1\0"s},
        {"pnm", "P6\n12 9\n255\n"s},
        {"pnm", "P7\nWIDTH 9\n"s},
    };
    std::set<std::string_view> names;
    for (const Codec& codec : codecs()) {
        EXPECT_TRUE(names.insert(codec.name).second) << codec.name << " stands twice";
        EXPECT_FALSE(codec.recognises({})) << codec.name;
        for (const auto& c : cases) {
            const std::vector<std::uint8_t> head(c.head.begin(), c.head.end());
            EXPECT_EQ(codec.recognises(head), codec.name == c.codec) << codec.name << " on " << c.codec;
            for (std::size_t length = 0; length < 3; ++length)
                EXPECT_FALSE(codec.recognises(std::span(head).first(length))) << codec.name << " on too few bytes";
        }
    }
}

} // namespace
} // namespace zel
