/* The peer of tessimo-tam --digest: a minimal plain C generator of the
 * demo's tonal art map (256 by 256, 128 tones, best of 5, hatching) that
 * prints the same lines: the SHA-256 of each level of the volume, of all
 * levels, and the number of strokes. It shares no code with the engine.
 *
 * Every pixel is black or white, and a pixel that turns black in one tone
 * stays black in every darker one, so one chain of levels holds the whole
 * stack: per pixel, 1 + the tone in which it turned black (0: white in all
 * tones). Candidates are counted, not drawn: the white pixels a stroke
 * would cover, each once. The volume is hashed a slice at a time.
 *
 *   build/bench/tam_peer
 */
#include <openssl/evp.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    kSize = 256,
    kTones = 128,
    kCandidates = 5,
    kLevels = 9
};

static int32_t rngState = 1;

static uint32_t Draw(void)
{
    rngState = (int32_t)((uint32_t)rngState * 214013u + 2531011u);
    return ((uint32_t)rngState >> 16) & 0x7FFF;
}

static uint16_t* tone[kLevels]; /* per level and pixel: 1 + tone turned black, 0 white */
static uint32_t black[kLevels]; /* black pixels per level */
static uint32_t seen[kSize * kSize];
static uint32_t pass;

/* What a brush pixel does: count it (when it is white and not yet counted
 * in this pass) or blacken it with the current mark. */
static int counting;
static uint16_t mark;
static uint32_t counted;

static void Put(uint32_t x, uint32_t y, uint32_t level)
{
    uint32_t side = kSize >> level;
    uint32_t i = (y & (side - 1)) * side + (x & (side - 1));
    if (tone[level][i])
        return;
    if (counting)
    {
        if (seen[i] != pass)
        {
            seen[i] = pass;
            ++counted;
        }
        return;
    }
    tone[level][i] = mark;
    ++black[level];
}

static void Brush(uint32_t x, uint32_t y, uint32_t w, int acrossY, uint32_t level)
{
    if (w < 1 || w > 3)
        return;
    Put(x, y, level);
    if (acrossY)
    {
        if (w >= 2)
            Put(x, y + 1, level);
        if (w == 3)
            Put(x, y - 1, level);
    }
    else if (w == 2)
        Put(x + 1, y + 1, level);
    else if (w == 3)
    {
        Put(x + 1, y, level);
        Put(x - 1, y, level);
    }
}

static uint32_t Width(uint32_t i, uint32_t n)
{
    double t;
    if (n <= 1)
        return 0;
    t = (double)i / (double)(n - 1);
    if (t < 0.25)
        return 1;
    if (t < 0.5)
        return 2;
    if (t < 0.75)
        return 3;
    if (t < 0.9)
        return 2;
    if (t < 0.95)
        return 1;
    return 0;
}

static void Stroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint32_t level)
{
    int32_t dx = (int32_t)(x2 - x1), dy = (int32_t)(y2 - y1), error, step;
    uint32_t x, y, i, t;
    dx = dx < 0 ? -dx : dx;
    dy = dy < 0 ? -dy : dy;
    if (dx < dy)
    {
        if (y1 > y2)
        {
            t = x1, x1 = x2, x2 = t;
            t = y1, y1 = y2, y2 = t;
        }
        step = x1 < x2 ? 1 : -1;
        error = 2 * dx - dy;
        Brush(x1, y1, 1, 1, level);
        x = x1;
        for (y = y1 + 1, i = 0; y <= y2; ++y, ++i)
        {
            if (error >= 0)
            {
                x += (uint32_t)step;
                error += 2 * (dx - dy);
            }
            else
                error += 2 * dx;
            Brush(x, y, Width(i, (uint32_t)dy), 0, level);
        }
    }
    else
    {
        if (x1 > x2)
        {
            t = x1, x1 = x2, x2 = t;
            t = y1, y1 = y2, y2 = t;
        }
        step = y1 < y2 ? 1 : -1;
        error = 2 * dy - dx;
        Brush(x1, y1, 1, 1, level);
        y = y1;
        for (x = x1 + 1, i = 0; x <= x2; ++x, ++i)
        {
            if (error >= 0)
            {
                y += (uint32_t)step;
                error += 2 * (dy - dx);
            }
            else
                error += 2 * dy;
            Brush(x, y, Width(i, (uint32_t)dx), 1, level);
        }
    }
}

static float Coverage(uint32_t ink, uint32_t level)
{
    uint32_t side = kSize >> level;
    return (float)ink / (float)(side * side);
}

static uint32_t EndAcross(uint32_t start, double drift)
{
    if (drift < 0 && -drift > (double)start)
        return 0;
    return (uint32_t)((double)start + drift);
}

static uint32_t strokes;

static void Generate(float target)
{
    const float scale = 3.0518509e-05f;
    const uint32_t W = kSize, H = kSize;
    uint32_t active = kLevels, level = kLevels - 1, c, i;
    int alternate = 1;
    while (active)
    {
        float best = 0.0f, t;
        uint32_t bx1 = 0, by1 = 0, bx2 = 0, by2 = 0;
        alternate = !alternate;
        for (c = 0; c < kCandidates; ++c)
        {
            uint32_t r1 = Draw();
            uint32_t length = (uint32_t)((r1 * (double)0.7f * scale + (double)0.3f) * W);
            uint32_t x = Draw() % W, y = Draw() % H, x2, y2;
            if (target < 0.5f || alternate)
            {
                x2 = x + length;
                y2 = EndAcross(y, Draw() * (H * (double)0.1f) * scale - H * (double)0.05f);
            }
            else
            {
                y2 = y + length;
                x2 = EndAcross(x, Draw() * (W * (double)0.1f) * scale - W * (double)0.05f);
            }
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
    const float step = (float)(1.0 / kTones);
    float target = 0.0f;
    EVP_MD_CTX *all = EVP_MD_CTX_new(), *one = EVP_MD_CTX_new();
    char hex[2 * EVP_MAX_MD_SIZE + 1];
    uint32_t m, j, i;
    int k;

    for (m = 0; m < kLevels; ++m)
        tone[m] = calloc((size_t)(kSize >> m) * (kSize >> m), sizeof(uint16_t));
    for (k = kTones - 1; k >= 0; --k)
    {
        if (k != kTones - 1)
            target += step;
        mark = (uint16_t)(k + 1);
        Generate(target);
    }

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
        free(tone[m]);
    }
    Hex(all, hex);
    printf("volume sha256 %s\nstrokes %u\n", hex, strokes);
    EVP_MD_CTX_free(one);
    EVP_MD_CTX_free(all);
    return 0;
}
