// tessimo-import: turns a model in any format Assimp reads into the engine's
// model file (.tsm).
//
//     tessimo-import [options] SOURCE [OUTPUT]
//
//     --scale S           multiply every position by S
//     --fit SIZE          scale so that the longest side of the bounds is SIZE
//     --center            move the middle of the bounds to the origin
//     --position X,Y,Z    the place written into every mesh record
//     --rotate X,Y,Z      turn the model by these degrees about x, then y,
//                         then z, before it is scaled and centred
//     --merge material    one mesh per material
//     --merge all         one mesh for the whole model
//     --material NAME     the shader name written into every mesh
//     --exclude NAME      leave out the meshes of that material or node name
//                         (repeatable)
//     --max-vertices N    refuse a model of more than N vertices in all
//     --box-uv SIZE       new texture coordinates: each triangle projected
//                         along the axis its face turns to most, one unit
//                         of texture every SIZE units of the placed model
//     --facets            every triangle with vertices of its own and its
//                         face normal: flat shading, one tone a face
//     --info              print what would be written, write nothing
//
// Without --merge each mesh of each node becomes one mesh, with the node's
// transform applied to its vertices. Faces are triangulated, smooth normals
// are kept or generated, and a mesh without texture coordinates gets a
// planar projection onto the two longest sides of its bounds. The header
// carries our signature: "Tessimo model file" and a version number.
//
// Failures are one line on standard error and exit status 1.
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace
{

// The header's 19 bytes of text (with its NUL) and the version after it.
const char kSignature[19] = "Tessimo model file";
constexpr uint32_t kVersion = 1;
// Names in a mesh record: 31 characters and the NUL.
constexpr size_t kNameLength = 32;
// What the engine's vertex pool takes for a vertex, and its alignment.
constexpr uint64_t kPoolBytesPerVertex = 32;
constexpr uint64_t kPoolAlignment = 32;

struct Options
{
    const char* source = nullptr;
    const char* output = nullptr;
    float scale = 1.0f;
    float fit = 0.0f;
    bool center = false;
    float position[3] = {0.0f, 0.0f, 0.0f};
    float rotation[3] = {0.0f, 0.0f, 0.0f};
    enum Merge
    {
        None,
        ByMaterial,
        All
    } merge = None;
    std::string material;
    bool materialGiven = false;
    uint64_t maxVertices = 0;
    float boxUv = 0.0f;
    bool facets = false;
    bool info = false;
    std::vector<std::string> excluded;
    bool Excluded(const std::string& name) const
    {
        for (const std::string& e : excluded)
            if (e == name)
                return true;
        return false;
    }
};

struct OutMesh
{
    std::string name;
    std::string shader;
    std::vector<float> positions; // 3 a vertex
    std::vector<float> texCoords; // 2 a vertex
    std::vector<float> normals;   // 3 a vertex
    std::vector<uint32_t> faces;  // 3 a triangle
    size_t VertexCount() const { return positions.size() / 3; }
    size_t FaceCount() const { return faces.size() / 3; }
};

[[noreturn]] void Fail(const std::string& message)
{
    std::fprintf(stderr, "tessimo-import: %s\n", message.c_str());
    std::exit(1);
}

// Three comma-separated numbers and nothing after them, or a usage failure.
void ReadTriple(const char* text, float* xyz, const char* usage)
{
    char extra;
    if (std::sscanf(text, "%f,%f,%f%c", &xyz[0], &xyz[1], &xyz[2], &extra) != 3)
        Fail(std::string(usage) + ", not '" + text + "'");
}

void Usage()
{
    std::fprintf(stderr,
                 "usage: tessimo-import [--scale S] [--fit SIZE] [--center] [--position X,Y,Z]\n"
                 "                      [--rotate X,Y,Z]\n"
                 "                      [--merge material|all] [--material NAME]\n"
                 "                      [--exclude NAME]... [--max-vertices N] [--box-uv SIZE]\n"
                 "                      [--facets] [--info]\n"
                 "                      SOURCE [OUTPUT]\n");
    std::exit(1);
}

float ParseFloat(const char* text, const char* option)
{
    char* end = nullptr;
    errno = 0;
    float value = std::strtof(text, &end);
    if (end == text || *end || errno || !std::isfinite(value))
        Fail(std::string("not a number for ") + option + ": '" + text + "'");
    return value;
}

Options ParseArguments(int argc, char** argv)
{
    Options o;
    std::vector<const char*> files;
    for (int i = 1; i < argc; ++i)
    {
        std::string a = argv[i];
        auto value = [&]() -> const char*
        {
            if (i + 1 >= argc)
                Fail("missing value after " + a);
            return argv[++i];
        };
        if (a == "--scale")
            o.scale = ParseFloat(value(), "--scale");
        else if (a == "--fit")
        {
            o.fit = ParseFloat(value(), "--fit");
            if (o.fit <= 0.0f)
                Fail("--fit needs a size above 0");
        }
        else if (a == "--center")
            o.center = true;
        else if (a == "--position")
        {
            ReadTriple(value(), o.position, "--position takes X,Y,Z");
        }
        else if (a == "--rotate")
        {
            ReadTriple(value(), o.rotation, "--rotate takes X,Y,Z in degrees");
        }
        else if (a == "--merge")
        {
            std::string m = value();
            if (m == "material")
                o.merge = Options::ByMaterial;
            else if (m == "all")
                o.merge = Options::All;
            else
                Fail("--merge takes 'material' or 'all', not '" + m + "'");
        }
        else if (a == "--material")
        {
            o.material = value();
            o.materialGiven = true;
            if (o.material.empty() || o.material.size() >= kNameLength)
                Fail("a material name has 1 to 31 characters: '" + o.material + "'");
        }
        else if (a == "--max-vertices")
        {
            const char* v = value();
            char* end = nullptr;
            unsigned long long n = std::strtoull(v, &end, 10);
            if (end == v || *end)
                Fail(std::string("--max-vertices takes a count, not '") + v + "'");
            o.maxVertices = n;
        }
        else if (a == "--exclude")
            o.excluded.push_back(value());
        else if (a == "--facets")
            o.facets = true;
        else if (a == "--box-uv")
        {
            o.boxUv = ParseFloat(value(), "--box-uv");
            if (o.boxUv <= 0.0f)
                Fail("--box-uv needs a size above 0");
        }
        else if (a == "--info")
            o.info = true;
        else if (a == "--help" || a == "-h")
            Usage();
        else if (a.size() > 1 && a[0] == '-')
            Fail("unknown option " + a);
        else
            files.push_back(argv[i]);
    }
    if (files.empty() || files.size() > 2 || (files.size() == 1 && !o.info))
        Usage();
    o.source = files[0];
    o.output = files.size() > 1 ? files[1] : nullptr;
    return o;
}

// Names fit the record's 32 characters; a longer one is cut.
std::string FitName(std::string name, const char* fallback)
{
    if (name.empty())
        name = fallback;
    if (name.size() >= kNameLength)
        name.resize(kNameLength - 1);
    return name;
}

std::string MaterialName(const aiScene* scene, unsigned index)
{
    if (index >= scene->mNumMaterials)
        return "default";
    aiString name;
    if (scene->mMaterials[index]->Get(AI_MATKEY_NAME, name) != AI_SUCCESS)
        return "default";
    return FitName(name.C_Str(), "default");
}

// Texture coordinates for a mesh that has none: the positions projected on
// the two longest sides of its bounds, each side spanning 0 to 1.
void PlanarTexCoords(const aiMesh* mesh, const aiMatrix4x4& transform, float* out)
{
    float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
    float high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
    for (unsigned v = 0; v < mesh->mNumVertices; ++v)
    {
        aiVector3D p = transform * mesh->mVertices[v];
        const float c[3] = {p.x, p.y, p.z};
        for (int k = 0; k < 3; ++k)
        {
            low[k] = std::fmin(low[k], c[k]);
            high[k] = std::fmax(high[k], c[k]);
        }
    }
    // The axis with the smallest extent is the one projected away.
    int drop = 0;
    for (int k = 1; k < 3; ++k)
        if (high[k] - low[k] < high[drop] - low[drop])
            drop = k;
    int u = drop == 0 ? 1 : 0;
    int w = drop == 2 ? 1 : 2;
    float su = high[u] - low[u] > 0.0f ? 1.0f / (high[u] - low[u]) : 0.0f;
    float sw = high[w] - low[w] > 0.0f ? 1.0f / (high[w] - low[w]) : 0.0f;
    for (unsigned v = 0; v < mesh->mNumVertices; ++v)
    {
        aiVector3D p = transform * mesh->mVertices[v];
        const float c[3] = {p.x, p.y, p.z};
        out[2 * v] = (c[u] - low[u]) * su;
        out[2 * v + 1] = (c[w] - low[w]) * sw;
    }
}

// One Assimp mesh, placed by its node's transform, appended to `out`.
void AppendMesh(const aiMesh* mesh, const aiMatrix4x4& transform, OutMesh& out)
{
    size_t first = out.VertexCount();
    aiMatrix3x3 normalTransform(transform);
    normalTransform.Inverse().Transpose();
    std::vector<float> generated;
    if (!mesh->HasTextureCoords(0))
    {
        generated.resize(2 * size_t(mesh->mNumVertices));
        PlanarTexCoords(mesh, transform, generated.data());
    }
    for (unsigned v = 0; v < mesh->mNumVertices; ++v)
    {
        aiVector3D p = transform * mesh->mVertices[v];
        out.positions.insert(out.positions.end(), {p.x, p.y, p.z});
        aiVector3D n = mesh->HasNormals() ? normalTransform * mesh->mNormals[v] : aiVector3D();
        float length = n.Length();
        if (length > 0.0f && std::isfinite(length))
            n /= length;
        else
            n = aiVector3D();
        out.normals.insert(out.normals.end(), {n.x, n.y, n.z});
        if (mesh->HasTextureCoords(0))
            out.texCoords.insert(out.texCoords.end(),
                                 {mesh->mTextureCoords[0][v].x, mesh->mTextureCoords[0][v].y});
        else
            out.texCoords.insert(out.texCoords.end(), {generated[2 * v], generated[2 * v + 1]});
    }
    // A transform that mirrors turns the winding over; keep it counter-
    // clockwise.
    bool mirrored = transform.Determinant() < 0.0f;
    for (unsigned f = 0; f < mesh->mNumFaces; ++f)
    {
        const aiFace& face = mesh->mFaces[f];
        if (face.mNumIndices != 3)
            continue; // points and lines have no place in a triangle mesh
        uint32_t a = static_cast<uint32_t>(first + face.mIndices[0]);
        uint32_t b = static_cast<uint32_t>(first + face.mIndices[1]);
        uint32_t c = static_cast<uint32_t>(first + face.mIndices[2]);
        if (mirrored)
            std::swap(b, c);
        out.faces.insert(out.faces.end(), {a, b, c});
    }
}

// Texture coordinates of even density over the whole model, whatever the
// source's mapping: each triangle is projected along the axis of its face
// normal's largest component, so the texture is never stretched by more
// than sqrt(3) on a face. A vertex shared by triangles that project along
// different axes is split, one copy for each axis.
void BoxTexCoords(OutMesh& m, float size)
{
    std::vector<float> positions, normals, texCoords;
    std::map<std::pair<uint32_t, int>, uint32_t> copies;
    for (size_t f = 0; f < m.FaceCount(); ++f)
    {
        uint32_t* corner = &m.faces[3 * f];
        const float* p[3] = {&m.positions[3 * size_t(corner[0])],
                             &m.positions[3 * size_t(corner[1])],
                             &m.positions[3 * size_t(corner[2])]};
        aiVector3D e1(p[1][0] - p[0][0], p[1][1] - p[0][1], p[1][2] - p[0][2]);
        aiVector3D e2(p[2][0] - p[0][0], p[2][1] - p[0][1], p[2][2] - p[0][2]);
        aiVector3D n = e1 ^ e2;
        const float a[3] = {std::fabs(n.x), std::fabs(n.y), std::fabs(n.z)};
        int axis = a[0] >= a[1] && a[0] >= a[2] ? 0 : (a[1] >= a[2] ? 1 : 2);
        int u = axis == 0 ? 2 : 0;
        int w = axis == 1 ? 2 : 1;
        for (int k = 0; k < 3; ++k)
        {
            auto key = std::make_pair(corner[k], axis);
            auto found = copies.find(key);
            if (found == copies.end())
            {
                uint32_t index = static_cast<uint32_t>(positions.size() / 3);
                const float* q = &m.positions[3 * size_t(corner[k])];
                const float* nq = &m.normals[3 * size_t(corner[k])];
                positions.insert(positions.end(), {q[0], q[1], q[2]});
                normals.insert(normals.end(), {nq[0], nq[1], nq[2]});
                texCoords.insert(texCoords.end(), {q[u] / size, q[w] / size});
                found = copies.emplace(key, index).first;
            }
            corner[k] = found->second;
        }
    }
    m.positions.swap(positions);
    m.normals.swap(normals);
    m.texCoords.swap(texCoords);
}

// Flat faces: three vertices of its own for every triangle, each with the
// face's unit normal (a degenerate face keeps its vertices' normals).
void Facets(OutMesh& m)
{
    std::vector<float> positions, normals, texCoords;
    for (size_t f = 0; f < m.FaceCount(); ++f)
    {
        uint32_t* corner = &m.faces[3 * f];
        const float* p[3] = {&m.positions[3 * size_t(corner[0])],
                             &m.positions[3 * size_t(corner[1])],
                             &m.positions[3 * size_t(corner[2])]};
        aiVector3D e1(p[1][0] - p[0][0], p[1][1] - p[0][1], p[1][2] - p[0][2]);
        aiVector3D e2(p[2][0] - p[0][0], p[2][1] - p[0][1], p[2][2] - p[0][2]);
        aiVector3D n = e1 ^ e2;
        float length = n.Length();
        for (int k = 0; k < 3; ++k)
        {
            size_t v = corner[k];
            positions.insert(positions.end(), {p[k][0], p[k][1], p[k][2]});
            if (length > 0.0f && std::isfinite(length))
                normals.insert(normals.end(), {n.x / length, n.y / length, n.z / length});
            else
                normals.insert(normals.end(),
                               {m.normals[3 * v], m.normals[3 * v + 1], m.normals[3 * v + 2]});
            texCoords.insert(texCoords.end(), {m.texCoords[2 * v], m.texCoords[2 * v + 1]});
            corner[k] = static_cast<uint32_t>(3 * f + size_t(k));
        }
    }
    m.positions.swap(positions);
    m.normals.swap(normals);
    m.texCoords.swap(texCoords);
}

struct Collector
{
    const aiScene* scene;
    const Options& options;
    std::vector<OutMesh> meshes;
    std::map<std::string, size_t> byMaterial;

    OutMesh& Target(const aiMesh* mesh, const aiNode* node)
    {
        std::string material = MaterialName(scene, mesh->mMaterialIndex);
        if (options.merge == Options::All)
        {
            if (meshes.empty())
            {
                meshes.emplace_back();
                meshes.back().name = "model";
                meshes.back().shader = material;
            }
            return meshes.front();
        }
        if (options.merge == Options::ByMaterial)
        {
            auto found = byMaterial.find(material);
            if (found != byMaterial.end())
                return meshes[found->second];
            byMaterial[material] = meshes.size();
            meshes.emplace_back();
            meshes.back().name = material;
            meshes.back().shader = material;
            return meshes.back();
        }
        meshes.emplace_back();
        const char* meshName = mesh->mName.length ? mesh->mName.C_Str() : node->mName.C_Str();
        meshes.back().name = FitName(meshName, "mesh");
        meshes.back().shader = material;
        return meshes.back();
    }

    void Walk(const aiNode* node, const aiMatrix4x4& parent)
    {
        aiMatrix4x4 transform = parent * node->mTransformation;
        for (unsigned i = 0; i < node->mNumMeshes; ++i)
        {
            if (node->mMeshes[i] >= scene->mNumMeshes)
                continue;
            const aiMesh* mesh = scene->mMeshes[node->mMeshes[i]];
            if (!(mesh->mPrimitiveTypes & aiPrimitiveType_TRIANGLE))
                continue;
            if (options.Excluded(MaterialName(scene, mesh->mMaterialIndex)) ||
                options.Excluded(node->mName.C_Str()) || options.Excluded(mesh->mName.C_Str()))
                continue;
            AppendMesh(mesh, transform, Target(mesh, node));
        }
        for (unsigned i = 0; i < node->mNumChildren; ++i)
            Walk(node->mChildren[i], transform);
    }
};

struct Bounds
{
    float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
    float high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
};

Bounds Measure(const std::vector<OutMesh>& meshes)
{
    Bounds b;
    for (const OutMesh& m : meshes)
        for (size_t i = 0; i < m.positions.size(); ++i)
        {
            int k = static_cast<int>(i % 3);
            b.low[k] = std::fmin(b.low[k], m.positions[i]);
            b.high[k] = std::fmax(b.high[k], m.positions[i]);
        }
    return b;
}

// Scale, then centring, then the fit, all on the positions alone.
void Place(std::vector<OutMesh>& meshes, const Options& o)
{
    for (OutMesh& m : meshes)
        for (float& p : m.positions)
            p *= o.scale;
    Bounds b = Measure(meshes);
    float centre[3] = {0.0f, 0.0f, 0.0f};
    if (o.center)
        for (int k = 0; k < 3; ++k)
            centre[k] = (b.low[k] + b.high[k]) * 0.5f;
    float factor = 1.0f;
    if (o.fit > 0.0f)
    {
        float longest = 0.0f;
        for (int k = 0; k < 3; ++k)
            longest = std::fmax(longest, b.high[k] - b.low[k]);
        if (longest > 0.0f)
            factor = o.fit / longest;
    }
    for (OutMesh& m : meshes)
        for (size_t i = 0; i < m.positions.size(); ++i)
            m.positions[i] = (m.positions[i] - centre[i % 3]) * factor;
}

uint64_t PoolBytes(const std::vector<OutMesh>& meshes)
{
    auto rounded = [](uint64_t n)
    { return (n + kPoolAlignment - 1) / kPoolAlignment * kPoolAlignment; };
    uint64_t total = 0;
    for (const OutMesh& m : meshes)
        total +=
            2 * rounded(12 * uint64_t(m.VertexCount())) + rounded(8 * uint64_t(m.VertexCount()));
    return total;
}

void PrintInfo(const std::vector<OutMesh>& meshes, const Options& o)
{
    uint64_t vertices = 0, faces = 0;
    std::printf("%zu meshes\n", meshes.size());
    for (const OutMesh& m : meshes)
    {
        std::printf("  %-31s  shader %-31s  %8zu vertices  %8zu faces\n", m.name.c_str(),
                    m.shader.c_str(), m.VertexCount(), m.FaceCount());
        vertices += m.VertexCount();
        faces += m.FaceCount();
    }
    Bounds b = Measure(meshes);
    std::printf("%llu vertices, %llu faces\n", static_cast<unsigned long long>(vertices),
                static_cast<unsigned long long>(faces));
    std::printf("bounds (%g, %g, %g) to (%g, %g, %g), size %g x %g x %g\n", b.low[0], b.low[1],
                b.low[2], b.high[0], b.high[1], b.high[2], b.high[0] - b.low[0],
                b.high[1] - b.low[1], b.high[2] - b.low[2]);
    std::printf("position (%g, %g, %g)\n", o.position[0], o.position[1], o.position[2]);
    std::printf("vertex memory %llu bytes\n", static_cast<unsigned long long>(PoolBytes(meshes)));
}

void PutU32(std::vector<uint8_t>& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void PutFloat(std::vector<uint8_t>& out, float f)
{
    uint32_t bits;
    std::memcpy(&bits, &f, 4);
    PutU32(out, bits);
}

void PutName(std::vector<uint8_t>& out, const std::string& name)
{
    char field[kNameLength] = {};
    std::memcpy(field, name.data(), std::min(name.size(), kNameLength - 1));
    out.insert(out.end(), field, field + kNameLength);
}

std::vector<uint8_t> Encode(const std::vector<OutMesh>& meshes, const Options& o)
{
    std::vector<uint8_t> out(kSignature, kSignature + sizeof kSignature);
    PutU32(out, kVersion);
    PutU32(out, static_cast<uint32_t>(meshes.size()));
    for (const OutMesh& m : meshes)
    {
        PutName(out, m.name);
        PutName(out, m.shader);
        for (float p : o.position)
            PutFloat(out, p);
        PutU32(out, static_cast<uint32_t>(m.FaceCount()));
        PutU32(out, static_cast<uint32_t>(m.VertexCount()));
        for (float f : m.positions)
            PutFloat(out, f);
        for (float f : m.texCoords)
            PutFloat(out, f);
        for (float f : m.normals)
            PutFloat(out, f);
        for (uint32_t i : m.faces)
            PutU32(out, i);
    }
    return out;
}

} // namespace

int main(int argc, char** argv)
{
    Options o = ParseArguments(argc, argv);

    Assimp::Importer importer;
    // Points and lines are dropped by the importer, not carried as faces.
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                                aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    const aiScene* scene = importer.ReadFile(
        o.source, aiProcess_Triangulate | aiProcess_GenSmoothNormals |
                      aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
                      aiProcess_FindDegenerates | aiProcess_ValidateDataStructure);
    if (!scene || !scene->mRootNode)
        Fail(std::string("cannot read '") + o.source + "': " + importer.GetErrorString());

    // The turn goes first, so that the node transforms below it hold.
    const float toRadians = 3.14159265f / 180.0f;
    aiMatrix4x4 rx, ry, rz;
    aiMatrix4x4::RotationX(o.rotation[0] * toRadians, rx);
    aiMatrix4x4::RotationY(o.rotation[1] * toRadians, ry);
    aiMatrix4x4::RotationZ(o.rotation[2] * toRadians, rz);
    Collector collector{scene, o, {}, {}};
    collector.Walk(scene->mRootNode, rz * ry * rx);
    std::vector<OutMesh> meshes;
    for (OutMesh& m : collector.meshes)
        if (m.FaceCount() > 0)
            meshes.push_back(std::move(m));
    if (meshes.empty())
        Fail(std::string("'") + o.source + "' holds no triangles");
    if (o.materialGiven)
        for (OutMesh& m : meshes)
            m.shader = o.material;
    Place(meshes, o);
    for (OutMesh& m : meshes)
    {
        if (o.facets)
            Facets(m);
        if (o.boxUv > 0.0f)
            BoxTexCoords(m, o.boxUv);
    }

    uint64_t vertices = 0;
    for (const OutMesh& m : meshes)
        vertices += m.VertexCount();
    if (o.maxVertices && vertices > o.maxVertices)
        Fail(std::to_string(vertices) + " vertices, more than the " +
             std::to_string(o.maxVertices) + " allowed");
    for (const OutMesh& m : meshes)
        if (m.VertexCount() > 0xFFFFFFFFu / kPoolBytesPerVertex || m.FaceCount() > 0x15555555u)
            Fail("mesh '" + m.name + "' is too large for the model file");

    if (o.info)
    {
        PrintInfo(meshes, o);
        if (!o.output)
            return 0;
    }
    std::vector<uint8_t> bytes = Encode(meshes, o);
    FILE* f = std::fopen(o.output, "wb");
    if (!f)
        Fail(std::string("cannot write '") + o.output + "': " + std::strerror(errno));
    bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    written = std::fclose(f) == 0 && written;
    if (!written)
        Fail(std::string("cannot write '") + o.output + "'");
    return 0;
}
