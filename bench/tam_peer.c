/* build/bench/tam_peer: the peer of tessimo-tam --digest, a minimal plain C
 * generator of the demo's art map (256 by 256, 128 tones, best of 5) sharing
 * no code with the engine. A pixel black in one tone stays black in every
 * darker one, so one chain of levels holds the whole stack. */
#include <openssl/evp.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define kSize 256
#define kTones 128
#define kLevels 9

static int32_t rngState = 1;
static uint16_t* tone[kLevels]; /* per level and pixel: 1 + tone turned black, 0 white */
static uint32_t black[kLevels]; /* black pixels per level */
static uint32_t seen[kSize * kSize], pass, counted, strokes;
static int counting;  /* brush pixels are counted (white ones, once a pass), or */
static uint16_t mark; /* blackened with this mark */

static uint32_t Draw(void)
{
    rngState = (int32_t)((uint32_t)rngState * 214013u + 2531011u);
    return ((uint32_t)rngState >> 16) & 0x7FFF;
}

static void Put(uint32_t x, uint32_t y, uint32_t level)
{
    uint32_t side = kSize >> level, i = (y & (side - 1)) * side + (x & (side - 1));
    if (tone[level][i])
        return;
    if (!counting)
    {
        tone[level][i] = mark;
        ++black[level];
    }
    else if (seen[i] != pass)
    {
        seen[i] = pass;
        ++counted;
    }
}

/* w pixels (0 to 3) across the stroke, the second diagonal for 2 across x. */
static void Brush(uint32_t x, uint32_t y, uint32_t w, int acrossY, uint32_t level)
{
    if (w >= 1)
        Put(x, y, level);
    if (w >= 2)
        Put(acrossY ? x : x + 1, y + (acrossY || w == 2), level);
    if (w == 3)
        Put(acrossY ? x : x - 1, acrossY ? y - 1 : y, level);
}

static uint32_t Width(uint32_t i, uint32_t n)
{
    double t = n <= 1 ? 1.0 : (double)i / (double)(n - 1);
    return t < 0.25 ? 1 : t < 0.5 ? 2 : t < 0.75 ? 3 : t < 0.9 ? 2 : t < 0.95 ? 1 : 0;
}

/* Bresenham's steps along the longer axis a, b following. */
static void Stroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint32_t level)
{
    int32_t dx = abs((int32_t)(x2 - x1)), dy = abs((int32_t)(y2 - y1));
    int steep = dx < dy;
    uint32_t a1 = steep ? y1 : x1, a2 = steep ? y2 : x2, b = steep ? x1 : y1, b2 = steep ? x2 : y2;
    int32_t da = steep ? dy : dx, db = steep ? dx : dy, error = 2 * db - da, step;
    uint32_t a, i, t;
    if (a1 > a2)
    {
        t = a1, a1 = a2, a2 = t;
        t = b, b = b2, b2 = t;
    }
    step = b < b2 ? 1 : -1;
    Put(steep ? b : a1, steep ? a1 : b, level);
    for (a = a1 + 1, i = 0; a <= a2; ++a, ++i)
    {
        if (error >= 0)
        {
            b += (uint32_t)step;
            error += 2 * (db - da);
        }
        else
            error += 2 * db;
        Brush(steep ? b : a, steep ? a : b, Width(i, (uint32_t)da), !steep, level);
    }
}

static float Coverage(uint32_t ink, uint32_t level)
{
    return (float)ink / (float)((kSize >> level) * (kSize >> level));
}

static uint32_t EndAcross(uint32_t start, double drift)
{
    return drift < 0 && -drift > (double)start ? 0 : (uint32_t)((double)start + drift);
}

static void Generate(float target)
{
    const float scale = 3.0518509e-05f;
    uint32_t active = kLevels, level = kLevels - 1, c, i;
    int alternate = 1;
    while (active)
    {
        float best = 0.0f, t;
        uint32_t bx1 = 0, by1 = 0, bx2 = 0, by2 = 0;
        alternate = !alternate;
        for (c = 0; c < 5; ++c) /* candidates */
        {
            uint32_t length = (uint32_t)((Draw() * (double)0.7f * scale + (double)0.3f) * kSize);
            uint32_t x = Draw() % kSize, y = Draw() % kSize;
            int alongX = target < 0.5f || alternate; /* else along y */
            uint32_t across = EndAcross(alongX ? y : x, Draw() * (kSize * (double)0.1f) * scale -
                                                            kSize * (double)0.05f);
            uint32_t x2 = alongX ? x + length : across, y2 = alongX ? across : y + length;
            Draw();
            counting = 1;
            counted = 0;
            ++pass;
            Stroke(x >> level, y >> level, x2 >> level, y2 >> level, level);
            t = Coverage(black[level] + counted, level);
            if (t > best)
            {
                best = t;
                bx1 = x, by1 = y, bx2 = x2, by2 = y2;
            }
        }
        counting = 0;
        for (i = 0; i < active; ++i)
        {
            Draw();
            Stroke(bx1 >> i, by1 >> i, bx2 >> i, by2 >> i, i);
        }
        ++strokes;
        while (active && Coverage(black[active - 1], active - 1) >= target)
            --active;
        level = active - 1;
    }
}

static void Hex(EVP_MD_CTX* ctx, char* out)
{
    unsigned char d[EVP_MAX_MD_SIZE];
    unsigned int n = 0, i;
    EVP_DigestFinal_ex(ctx, d, &n);
    for (i = 0; i < n; ++i)
        sprintf(out + 2 * i, "%02x", d[i]);
}

int main(void)
{
    static uint8_t slice[kSize * kSize * 3];
    float target = 0.0f;
    EVP_MD_CTX *all = EVP_MD_CTX_new(), *one = EVP_MD_CTX_new();
    char hex[2 * EVP_MAX_MD_SIZE + 1];
    uint32_t m, j, i;
    for (m = 0; m < kLevels; ++m)
        tone[m] = calloc((size_t)(kSize >> m) * (kSize >> m), sizeof(uint16_t));
    for (mark = kTones; mark > 0; --mark, target += (float)(1.0 / kTones))
        Generate(target);
    EVP_DigestInit_ex(all, EVP_sha256(), NULL);
    for (m = 0; m < kLevels; ++m)
    {
        uint32_t side = kSize >> m, pixels = side * side;
        uint32_t slices = kTones >> m ? kTones >> m : 1;
        EVP_DigestInit_ex(one, EVP_sha256(), NULL);
        for (j = 0; j < slices; ++j)
        {
            uint32_t t = j + 1 == slices ? kTones - 1 : j << m;
            for (i = 0; i < pixels; ++i)
                memset(slice + 3 * i, tone[m][i] > t ? 0 : 255, 3);
            EVP_DigestUpdate(one, slice, pixels * 3);
            EVP_DigestUpdate(all, slice, pixels * 3);
        }
        Hex(one, hex);
        printf("level %u side %u slices %u sha256 %s\n", m, side, slices, hex);
    }
    Hex(all, hex);
    printf("volume sha256 %s\nstrokes %u\n", hex, strokes);
    return 0;
}
