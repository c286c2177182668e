// Texture loads on a real GL context: every load path read back from GL
// (level-0 pixels, the mip chain, the internal format, filters and wraps),
// the log line of refused Targa files, the message boxes of the bitmap
// reader, reloads, and a Targa out of a real archive.

#include "archive/rar_writer.h"
#include "platform/message_box.h"
#include "resources/texture.h"
#include "tests/support/files.h"
#include "tests/support/gl_context.h"
#include "tests/support/report_capture.h"
#include "tests/texture_images.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

using namespace texture_test;

namespace
{

// One offscreen context for the suite; each test works in a fresh folder,
// which is where the log goes too.
class TextureGl : public ::testing::Test
{
public:
    static void SetUpTestSuite()
    {
        context = new testsupport::GlContext(64, 64);
        ASSERT_TRUE(context->created);
    }
    static void TearDownTestSuite() { delete context; }

protected:
    void SetUp() override { ASSERT_FALSE(folder.path.empty()); }
    void TearDown() override { EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)); }

    static std::string Log() { return testsupport::ReadText("tessimo2.log"); }
    static GLint Level(GLenum pname, GLint level = 0)
    {
        GLint value = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, level, pname, &value);
        return value;
    }
    static GLint Parameter(GLenum pname)
    {
        GLint value = 0;
        glGetTexParameteriv(GL_TEXTURE_2D, pname, &value);
        return value;
    }
    static int LevelCount()
    {
        int n = 0;
        while (n < 20 && Level(GL_TEXTURE_WIDTH, n) > 0)
            ++n;
        return n;
    }
    // Level 0 of the bound texture, tight rows, in the first row uploaded first.
    static Bytes Pixels(GLenum format)
    {
        Bytes out(size_t(Level(GL_TEXTURE_WIDTH)) * Level(GL_TEXTURE_HEIGHT) *
                  (format == GL_RGBA ? 4 : 3));
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glGetTexImage(GL_TEXTURE_2D, 0, format, GL_UNSIGNED_BYTE, out.data());
        return out;
    }
    static Bytes Swapped(Bytes pixels, size_t bytesPerPixel)
    {
        for (size_t i = 0; i + 2 < pixels.size(); i += bytesPerPixel)
            std::swap(pixels[i], pixels[i + 2]);
        return pixels;
    }
    static Bytes Ramp(size_t n)
    {
        Bytes b(n);
        for (size_t i = 0; i < n; ++i)
            b[i] = uint8_t(i * 13 + i / 7);
        return b;
    }

    static testsupport::GlContext* context;
    testsupport::TempDir folder;
    testsupport::ReportCapture capture;
    std::vector<testsupport::CapturedBox>& boxes = capture.boxes;
};

testsupport::GlContext* TextureGl::context = nullptr;

} // namespace

// 24 bits: GL_RGB (the plain value), no alpha, the caller's filters and
// wraps, a full chain, and the pixels in file order although the origin
// bits say top-left. The 2-pixel rows end off a 4-byte boundary.
TEST_F(TextureGl, TargaUploadsWithTheCallersParameters)
{
    Bytes bgr = Ramp(2 * 8 * 3);
    ASSERT_TRUE(WriteFile("a.tga", WriteTarga(2, 8, 24, bgr, 2, 0, 0x20)));
    Texture t;
    t.magFilter = GL_NEAREST;
    t.minFilter = GL_NEAREST_MIPMAP_LINEAR;
    t.wrapS = GL_CLAMP_TO_EDGE;
    t.wrapT = GL_MIRRORED_REPEAT;
    ASSERT_TRUE(t.LoadTarga("a.tga", "", nullptr));
    EXPECT_NE(t.id, 0u);
    EXPECT_EQ(t.width, 2u);
    EXPECT_EQ(t.height, 8u);
    EXPECT_FALSE(t.hasAlpha);
    EXPECT_STREQ(t.name, "a.tga");
    EXPECT_STREQ(t.path, "a.tga");
    t.Bind();
    EXPECT_EQ(Level(GL_TEXTURE_INTERNAL_FORMAT), GL_RGB);
    EXPECT_EQ(LevelCount(), 4);
    EXPECT_EQ(Pixels(GL_RGB), Swapped(bgr, 3));
    EXPECT_EQ(Parameter(GL_TEXTURE_MAG_FILTER), GL_NEAREST);
    EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), GL_NEAREST_MIPMAP_LINEAR);
    EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
    EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_T), GL_MIRRORED_REPEAT);
    GLint alignment = 0;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    EXPECT_EQ(alignment, 4); // the caller's alignment is back

    // 32 bits: GL_RGBA8 and alpha; the constructor's filters and wraps; a
    // name set beforehand stays, the path follows the file.
    Bytes bgra = Ramp(16 * 4 * 4);
    ASSERT_TRUE(WriteFile("b.tga", WriteTarga(16, 4, 32, bgra)));
    Texture u;
    snprintf(u.name, sizeof u.name, "hatch");
    ASSERT_TRUE(u.LoadTarga("b.tga", "", ""));
    EXPECT_TRUE(u.hasAlpha);
    EXPECT_STREQ(u.name, "hatch");
    EXPECT_STREQ(u.path, "b.tga");
    u.Bind();
    EXPECT_EQ(Level(GL_TEXTURE_INTERNAL_FORMAT), GL_RGBA8);
    EXPECT_EQ(LevelCount(), 5);
    EXPECT_EQ(Pixels(GL_RGBA), Swapped(bgra, 4));
    EXPECT_EQ(Parameter(GL_TEXTURE_MAG_FILTER), GL_LINEAR);
    EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), GL_LINEAR_MIPMAP_NEAREST);
    EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_S), GL_REPEAT);
    EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_T), GL_REPEAT);

    // 100 by 60 is rescaled by GLU; the texture keeps the file's sizes.
    Bytes flat;
    for (int i = 0; i < 100 * 60; ++i)
        flat.insert(flat.end(), {30, 200, 10});
    ASSERT_TRUE(WriteFile("c.tga", WriteTarga(100, 60, 24, flat)));
    Texture v;
    ASSERT_TRUE(v.LoadTarga("c.tga", "", nullptr));
    EXPECT_EQ(v.width, 100u);
    EXPECT_EQ(v.height, 60u);
    v.Bind();
    EXPECT_EQ(Level(GL_TEXTURE_WIDTH), 128);
    EXPECT_EQ(Level(GL_TEXTURE_HEIGHT), 64);
    EXPECT_EQ(LevelCount(), 8);
    Bytes level0 = Pixels(GL_RGB);
    EXPECT_EQ(level0[0], 10);
    EXPECT_EQ(level0[1], 200);
    EXPECT_EQ(level0[level0.size() - 1], 30);

    // An identification field isn't skipped: its bytes become the first pixel.
    ASSERT_TRUE(WriteFile("d.tga", WriteTarga(2, 1, 24, {0xAA, 0xBB, 1, 2, 3, 4, 5, 6}, 2, 2)));
    Texture w;
    ASSERT_TRUE(w.LoadTarga("d.tga", "", nullptr));
    w.Bind();
    EXPECT_EQ(Pixels(GL_RGB), (Bytes{1, 0xBB, 0xAA, 4, 3, 2}));
    EXPECT_EQ(Log(), "");
}

TEST_F(TextureGl, RefusedTargasWriteOneLogLineEach)
{
    Bytes pixels = Ramp(4 * 4 * 4);
    WriteFile("rle.tga", WriteTarga(4, 4, 24, pixels, 10));
    WriteFile("mapped.tga", WriteTarga(4, 4, 24, pixels, 1));
    WriteFile("16.tga", WriteTarga(4, 4, 16, pixels));
    WriteFile("zero.tga", WriteTarga(4, 0, 24, pixels));
    WriteFile("short.tga", WriteTarga(4, 4, 32, Bytes(pixels.begin(), pixels.end() - 1)));
    WriteFile("empty.tga", Bytes{});
    WriteFile("header.tga", Bytes(17, 2));
    WriteFile("huge.tga", WriteTarga(65535, 65535, 32, pixels)); // 16 GiB claimed
    std::string expected;
    for (const char* file : {"rle.tga", "mapped.tga", "16.tga", "zero.tga", "short.tga",
                             "empty.tga", "header.tga", "huge.tga", "missing.tga"})
    {
        Texture t;
        EXPECT_FALSE(t.LoadTarga(file, "", nullptr)) << file;
        EXPECT_EQ(t.id, 0u);
        EXPECT_STREQ(t.name, "");
        expected += std::string("## cannot open file <") + file + "> ##\n";
    }
    EXPECT_EQ(Log(), expected);
    EXPECT_TRUE(boxes.empty());
}

// Reload: nothing before a load; the same image, name and parameters after
// one; the log line once the file has gone.
TEST_F(TextureGl, ReloadReadsThePathAgain)
{
    Texture never;
    EXPECT_FALSE(never.Reload("", nullptr));
    EXPECT_EQ(Log(), "");

    Bytes bgr = Ramp(4 * 4 * 3);
    WriteFile("r.tga", WriteTarga(4, 4, 24, bgr));
    Texture t;
    t.minFilter = GL_NEAREST;
    ASSERT_TRUE(t.LoadTarga("r.tga", "", nullptr));
    uint32_t first = t.id;
    ASSERT_TRUE(t.Reload("", nullptr));
    EXPECT_FALSE(glIsTexture(first) && first != t.id);
    t.Bind();
    EXPECT_EQ(Pixels(GL_RGB), Swapped(bgr, 3));
    EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), GL_NEAREST);
    EXPECT_STREQ(t.name, "r.tga");

    unlink("r.tga");
    EXPECT_FALSE(t.Reload("", nullptr));
    EXPECT_STREQ(t.name, "r.tga");
    EXPECT_STREQ(t.path, "r.tga");
    EXPECT_EQ(Log(), "## cannot open file <r.tga> ##\n");
    t.Bind(); // no image any more
    EXPECT_EQ(Level(GL_TEXTURE_WIDTH), 0);

    // A bitmap texture has no path to reload from: it stays as it is.
    WriteFile("b.bmp", WriteBmp(MakePicture(4, 4, 0), BmpOptions{}));
    Texture bmp;
    ASSERT_TRUE(bmp.LoadBmp("b.bmp"));
    EXPECT_FALSE(bmp.Reload("", nullptr));
    bmp.Bind();
    EXPECT_EQ(Level(GL_TEXTURE_WIDTH), 4);
    EXPECT_EQ(Log(), "## cannot open file <r.tga> ##\n");
}

// The path the engine takes: a Targa entry of an enciphered archive, named
// with a backslash.
TEST_F(TextureGl, TargaOutOfAnArchive)
{
    Bytes bgra = Ramp(8 * 8 * 4);
    Bytes tga = WriteTarga(8, 8, 32, bgra);
    RarWriterEntry entry{"tga\\wood.tga", tga.data(), uint32_t(tga.size())};
    RarWriterOptions options;
    options.password = "pen and ink";
    std::vector<uint8_t> archive;
    std::string error;
    ASSERT_TRUE(RarWriteArchive(&entry, 1, options, &archive, &error)) << error;
    WriteFile("data.rar", archive);

    Texture t;
    ASSERT_TRUE(t.LoadTarga("tga\\wood.tga", "data.rar", "pen and ink"));
    t.Bind();
    EXPECT_EQ(Pixels(GL_RGBA), Swapped(bgra, 4));
    EXPECT_STREQ(t.path, "tga\\wood.tga");
    ASSERT_TRUE(t.Reload("data.rar", "pen and ink"));

    Texture wrong;
    EXPECT_FALSE(wrong.LoadTarga("tga\\wood.tga", "data.rar", "pen and paper"));
    EXPECT_EQ(Log(), "## cannot open file <tga\\wood.tga> ##\n");
}

// Bitmaps reach GL bottom row first, as GL_RGB8, or as GL_RGBA8 with the
// alpha taken from the red channel of a second bitmap.
TEST_F(TextureGl, BitmapsWithAndWithoutAlpha)
{
    Picture colour = MakePicture(8, 4, 256);
    BmpOptions indexed;
    indexed.bitCount = 8;
    indexed.topDown = true;
    WriteFile("colour.bmp", WriteBmp(colour, indexed));
    Texture t;
    ASSERT_TRUE(t.LoadBmp("colour.bmp"));
    EXPECT_EQ(t.width, 8u);
    EXPECT_EQ(t.height, 4u);
    EXPECT_FALSE(t.hasAlpha);
    EXPECT_STREQ(t.name, "colour.bmp");
    EXPECT_STREQ(t.path, "");
    t.Bind();
    EXPECT_EQ(Level(GL_TEXTURE_INTERNAL_FORMAT), GL_RGB8);
    EXPECT_EQ(LevelCount(), 4);
    EXPECT_EQ(Pixels(GL_RGB), colour.rgb);

    Picture alpha = MakePicture(8, 4, 0);
    BmpOptions bare;
    bare.fileHeader = false;
    bare.headerSize = 12;
    WriteFile("alpha.bmp", WriteBmp(alpha, bare));
    Texture a;
    ASSERT_TRUE(a.LoadBmpWithAlpha("colour.bmp", "alpha.bmp"));
    EXPECT_TRUE(a.hasAlpha);
    EXPECT_STREQ(a.name, "colour.bmp");
    a.Bind();
    EXPECT_EQ(Level(GL_TEXTURE_INTERNAL_FORMAT), GL_RGBA8);
    Bytes rgba = Pixels(GL_RGBA);
    ASSERT_EQ(rgba.size(), 8u * 4 * 4);
    for (size_t i = 0; i < 8 * 4; ++i)
    {
        EXPECT_EQ(Bytes(&rgba[4 * i], &rgba[4 * i + 3]),
                  Bytes(&colour.rgb[3 * i], &colour.rgb[3 * i + 3]));
        EXPECT_EQ(rgba[4 * i + 3], alpha.rgb[3 * i]) << i;
    }
    EXPECT_TRUE(boxes.empty());
}

// The reader's own boxes, captioned "Error"; a failed load changes nothing.
TEST_F(TextureGl, BitmapFailuresShowTheirBox)
{
    WriteFile("text.bmp", Bytes{'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'});
    Bytes cut = WriteBmp(MakePicture(8, 4, 0), BmpOptions{});
    cut.resize(cut.size() - 20);
    WriteFile("cut.bmp", cut);
    WriteFile("small.bmp", WriteBmp(MakePicture(4, 4, 0), BmpOptions{}));
    WriteFile("large.bmp", WriteBmp(MakePicture(8, 4, 0), BmpOptions{}));

    Texture t;
    EXPECT_FALSE(t.LoadBmp("nothere.bmp"));
    EXPECT_FALSE(t.LoadBmp("text.bmp"));
    EXPECT_FALSE(t.LoadBmp("cut.bmp"));
    EXPECT_FALSE(t.LoadBmpWithAlpha("large.bmp", "small.bmp"));
    EXPECT_FALSE(t.LoadBmpWithAlpha("large.bmp", "nothere.bmp"));
    EXPECT_FALSE(t.LoadBmpWithAlpha("nothere.bmp", "small.bmp"));
    EXPECT_EQ(t.id, 0u);
    EXPECT_STREQ(t.name, "");
    EXPECT_EQ(t.width, 0u);
    EXPECT_FALSE(t.hasAlpha);

    const char* texts[] = {
        "Failed to open DIB file nothere.bmp.\n", "Unknown DIB file format.",
        "Image file conversion error.",           "Image file conversion error.",
        "Failed to open DIB file nothere.bmp.\n", "Failed to open DIB file nothere.bmp.\n"};
    ASSERT_EQ(boxes.size(), 6u);
    for (size_t i = 0; i < 6; ++i)
    {
        EXPECT_EQ(boxes[i].text, texts[i]) << i;
        EXPECT_EQ(boxes[i].caption, "Error");
    }
    EXPECT_EQ(Log(), "");
}
