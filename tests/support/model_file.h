// Model files written byte by byte, so that a test states every count and
// offset, hostile ones included.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace testsupport
{

class ModelBytes
{
public:
    // The 27-byte header with `meshCount`.
    explicit ModelBytes(uint32_t meshCount) { Text("test model file", 19).U32(1).U32(meshCount); }

    // A whole mesh record: texture coordinates (vertex number, 0), normals
    // (0, 0, 1).
    ModelBytes& Mesh(const char* name, const char* shader, const std::vector<float>& positions,
                     const std::vector<uint32_t>& faces, float x = 0, float y = 0, float z = 0)
    {
        uint32_t v = uint32_t(positions.size() / 3);
        Head(name, shader, uint32_t(faces.size() / 3), v, x, y, z);
        for (float p : positions)
            F32(p);
        for (uint32_t i = 0; i < v; ++i)
            F32(float(i)).F32(0.0f);
        for (uint32_t i = 0; i < v; ++i)
            F32(0.0f).F32(0.0f).F32(1.0f);
        for (uint32_t f : faces)
            U32(f);
        return *this;
    }

    // The 84 bytes before a record's arrays, with any counts.
    ModelBytes& Head(const char* name, const char* shader, uint32_t faces, uint32_t vertices,
                     float x = 0, float y = 0, float z = 0)
    {
        return Text(name, 32).Text(shader, 32).F32(x).F32(y).F32(z).U32(faces).U32(vertices);
    }

    std::string String() const { return bytes; }

private:
    ModelBytes& Text(const char* text, size_t width)
    {
        bytes += std::string(text, std::min(width, std::strlen(text)));
        bytes.resize(bytes.size() + width - std::min(width, std::strlen(text)), '\0');
        return *this;
    }
    ModelBytes& U32(uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            bytes += static_cast<char>(v >> (8 * i));
        return *this;
    }
    ModelBytes& F32(float f)
    {
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        return U32(bits);
    }
    std::string bytes;
};

} // namespace testsupport
