// tessimo-import: turns a model in any format Assimp reads into the engine's
// model file (.tsm), ready to be drawn in ink: smooth normals with a crease,
// texture coordinates whose strokes follow the form, and an outline mesh.
// The header carries our signature: "Tessimo model file" and a version
// number. `--help` lists the options.
//
// Without --merge each mesh of each node becomes one mesh, with the node's
// transform applied to its vertices. Faces are triangulated; triangles
// without area and repeated ones are left out.
//
// A bad argument is one line naming it and the usage line, exit status 2;
// a failed run is one line on standard error and exit status 1, and leaves
// no output file behind.
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
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "model.h"
#include "normals.h"
#include "outline.h"
#include "strokes.h"
#include "tools/common/tool_cli.h"

namespace
{

// The header's 19 bytes of text (with its NUL) and the version after it.
const char kSignature[19] = "Tessimo model file";
constexpr uint32_t kVersion = 1;
// Names in a mesh record: 31 characters and the NUL.
constexpr size_t kNameLength = 32;
// The demo's vertex memory: 1 MiB, 32 bytes a vertex in three arrays, each
// starting on a multiple of 32.
constexpr uint64_t kPoolBytes = 1048576;
constexpr uint64_t kPoolBytesPerVertex = 32;
constexpr uint64_t kPoolAlignment = 32;

// What --help prints below the usage line.
const char kOptions[] =
    "       tessimo-import --info [options] SOURCE [OUTPUT]\n"
    "\n"
    "Converts a model Assimp reads into the engine's model file (.tsm).\n"
    "\n"
    "Placing:\n"
    "  --scale S           multiply every position by S\n"
    "  --fit SIZE          scale so that the longest side of the bounds is SIZE\n"
    "  --center            move the middle of the bounds to the origin\n"
    "  --position X,Y,Z    the place written into every mesh record\n"
    "  --rotate X,Y,Z      turn the model by these degrees about x, then y, then z,\n"
    "                      before it is scaled and centred\n"
    "Meshes:\n"
    "  --merge material    one mesh per material\n"
    "  --merge all         one mesh for the whole model\n"
    "  --material NAME     the material written into every mesh (1 to 31 characters)\n"
    "  --exclude NAME      leave out the meshes of that material or node\n"
    "                      (repeatable)\n"
    "  --max-vertices N    refuse a model of more than N vertices in all\n"
    "Drawing:\n"
    "  --crease DEG        smooth normals across edges where the faces turn by at\n"
    "                      most DEG degrees, 0 to 180 (default 50)\n"
    "  --facets            flat faces, one tone a face (the same as --crease 0)\n"
    "  --strokes form      texture coordinates that follow the form (default): for\n"
    "                      each part, from its principal axes, s runs around an\n"
    "                      elongated part (a whole number of repeats, so it meets\n"
    "                      itself; folded back on a part too thin for one) and\n"
    "                      along the chord of a flat one; other parts get box\n"
    "                      coordinates\n"
    "  --strokes box       each triangle projected along the axis it faces most\n"
    "  --strokes keep      the source's texture coordinates (or a projection of\n"
    "                      each mesh's bounds onto 0 to 1 where it has none)\n"
    "  --stroke-size UNITS one repeat of the art map every UNITS units of the\n"
    "                      placed model (default 6)\n"
    "  --box-uv SIZE       the same as --strokes box --stroke-size SIZE\n"
    "  --outline WIDTH     outline width in pixels at 800 by 600 (default 2)\n"
    "  --no-outline        no outline mesh\n"
    "  --info              print the meshes, the parts and the vertex memory;\n"
    "                      writes OUTPUT only if one is given\n"
    "  -h, --help          this text\n"
    "\n"
    "The outline is a last mesh on the material \"Outline\": the model's hull,\n"
    "welded by position, with averaged unit normals and texture coordinates\n"
    "(WIDTH, 0), the first mesh's part turned half a turn about y as the demo\n"
    "turns the first mesh; flat open sheets, such as a propeller disc, have\n"
    "none. Its vertex program pushes each vertex out along the normal by s\n"
    "pixels; the material culls front faces, and has a texture stage, through\n"
    "which the coordinates reach it.\n"
    "\n"
    "The demo's vertex memory holds 1 MiB at 32 bytes a vertex; a model that\n"
    "does not fit is written with a warning.\n";

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
    float crease = 50.0f;
    enum Strokes
    {
        Form,
        Box,
        Keep
    } strokes = Form;
    float strokeSize = 6.0f;
    float outline = 2.0f; // 0: none
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

const toolcli::Tool kTool{"tessimo-import", "usage: tessimo-import [options] SOURCE OUTPUT",
                          kOptions};

[[noreturn]] void Fail(const std::string& message)
{
    std::exit(kTool.Fail(message));
}

// A bad argument: what was wrong with it, then the usage line.
[[noreturn]] void BadArgument(const std::string& message)
{
    std::exit(kTool.UsageError(message));
}

// A number in [low, high], or a bad argument that names the range.
float ParseFloat(const char* option, const char* text, float low, float high, const char* expected)
{
    char* end = nullptr;
    errno = 0;
    float value = std::strtof(text, &end);
    if (end == text || *end || errno || !std::isfinite(value) || !(value >= low) ||
        !(value <= high))
        BadArgument(std::string(option) + " " + text + ": expected " + expected);
    return value;
}

// Three comma-separated numbers and nothing after them.
void ParseTriple(const char* option, const char* text, float* xyz)
{
    char extra;
    if (std::sscanf(text, "%f,%f,%f%c", &xyz[0], &xyz[1], &xyz[2], &extra) != 3 ||
        !std::isfinite(xyz[0]) || !std::isfinite(xyz[1]) || !std::isfinite(xyz[2]))
        BadArgument(std::string(option) + " " + text + ": expected X,Y,Z");
}

void ParseOption(Options& o, const std::string& a, const std::function<const char*()>& value)
{
    const char* option = a.c_str();
    if (a == "--scale")
        o.scale = ParseFloat(option, value(), -FLT_MAX, FLT_MAX, "a number");
    else if (a == "--fit")
        o.fit = ParseFloat(option, value(), FLT_MIN, FLT_MAX, "a number above 0");
    else if (a == "--center")
        o.center = true;
    else if (a == "--position")
        ParseTriple(option, value(), o.position);
    else if (a == "--rotate")
        ParseTriple(option, value(), o.rotation);
    else if (a == "--merge")
    {
        std::string m = value();
        if (m == "material")
            o.merge = Options::ByMaterial;
        else if (m == "all")
            o.merge = Options::All;
        else
            BadArgument("--merge " + m + ": expected material or all");
    }
    else if (a == "--material")
    {
        o.material = value();
        o.materialGiven = true;
        if (o.material.empty() || o.material.size() >= kNameLength)
            BadArgument("--material " + o.material + ": expected 1 to 31 characters");
    }
    else if (a == "--max-vertices")
    {
        const char* v = value();
        char* end = nullptr;
        errno = 0;
        unsigned long long n = std::strtoull(v, &end, 10);
        if (end == v || *end || errno || *v == '-')
            BadArgument(std::string("--max-vertices ") + v + ": expected a count");
        o.maxVertices = n;
    }
    else if (a == "--exclude")
        o.excluded.push_back(value());
    else if (a == "--facets")
        o.crease = 0.0f;
    else if (a == "--crease")
        o.crease = ParseFloat(option, value(), 0.0f, 180.0f, "0 to 180");
    else if (a == "--strokes")
    {
        std::string m = value();
        if (m == "form")
            o.strokes = Options::Form;
        else if (m == "box")
            o.strokes = Options::Box;
        else if (m == "keep")
            o.strokes = Options::Keep;
        else
            BadArgument("--strokes " + m + ": expected form, box or keep");
    }
    else if (a == "--stroke-size")
        o.strokeSize = ParseFloat(option, value(), FLT_MIN, FLT_MAX, "a number above 0");
    else if (a == "--box-uv")
    {
        o.strokeSize = ParseFloat(option, value(), FLT_MIN, FLT_MAX, "a number above 0");
        o.strokes = Options::Box;
    }
    else if (a == "--outline")
        o.outline = ParseFloat(option, value(), FLT_MIN, 64.0f, "above 0 up to 64");
    else if (a == "--no-outline")
        o.outline = 0.0f;
    else if (a == "--info")
        o.info = true;
    else
        BadArgument("unknown option " + a);
}

Options ParseArguments(int argc, char** argv)
{
    Options o;
    if (toolcli::WantsHelp(argc, argv))
        std::exit(kTool.Help());
    std::vector<const char*> files;
    for (int i = 1; i < argc; ++i)
    {
        std::string a = argv[i];
        if (a.size() > 1 && a[0] == '-')
            ParseOption(o, a,
                        [&]() -> const char*
                        {
                            if (i + 1 >= argc)
                                BadArgument(a + " needs a value");
                            return argv[++i];
                        });
        else
            files.push_back(argv[i]);
    }
    if (files.empty())
        BadArgument("missing SOURCE");
    if (files.size() == 1 && !o.info)
        BadArgument("missing OUTPUT");
    if (files.size() > 2)
        BadArgument(std::string("unexpected argument ") + files[2]);
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

// One Assimp mesh, placed by its node's transform, appended to `out` as a
// piece of its own. Normals are made later, from the placed triangles.
void AppendMesh(const aiMesh* mesh, const aiMatrix4x4& transform, const std::string& pieceName,
                OutMesh& out)
{
    size_t first = out.VertexCount();
    uint32_t piece = uint32_t(out.pieceNames.size());
    out.pieceNames.push_back(pieceName);
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
        out.facePieces.push_back(piece);
    }
}

struct Collector
{
    const aiScene* scene;
    const Options& options;
    std::vector<OutMesh> meshes;
    std::map<std::string, size_t> byMaterial;

    OutMesh& Target(const std::string& name, const std::string& material)
    {
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
        meshes.back().name = FitName(name, "mesh");
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
            std::string material = MaterialName(scene, mesh->mMaterialIndex);
            if (options.Excluded(material) || options.Excluded(node->mName.C_Str()) ||
                options.Excluded(mesh->mName.C_Str()))
                continue;
            std::string name = mesh->mName.length ? mesh->mName.C_Str() : node->mName.C_Str();
            AppendMesh(mesh, transform, name.empty() ? "mesh" : name, Target(name, material));
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

bool Finite(const std::vector<float>& values)
{
    for (float v : values)
        if (!std::isfinite(v))
            return false;
    return true;
}

// Every corner takes its vertex's texture coordinates.
CornerTexCoords KeptTexCoords(const OutMesh& m)
{
    CornerTexCoords out;
    out.reserve(2 * m.faces.size());
    for (uint32_t v : m.faces)
        out.insert(out.end(), {m.texCoords[2 * size_t(v)], m.texCoords[2 * size_t(v) + 1]});
    return out;
}

// What the drawing steps say: one line each, on standard error.
struct Notes
{
    Cleaned cleaned;
    size_t tooSmall = 0;
};

void Draw(OutMesh& m, const Options& o, std::vector<Part>& parts, Notes& notes)
{
    Cleaned cleaned = CleanFaces(m);
    notes.cleaned.degenerate += cleaned.degenerate;
    notes.cleaned.duplicate += cleaned.duplicate;
    CornerNormals normals = CreaseNormals(m, o.crease);
    CornerTexCoords texCoords;
    if (o.strokes == Options::Keep)
        texCoords = KeptTexCoords(m);
    else if (o.strokes == Options::Box)
        texCoords = BoxTexCoords(m, o.strokeSize);
    else
    {
        size_t first = parts.size();
        texCoords = FormTexCoords(m, o.strokeSize, parts);
        for (size_t i = first; i < parts.size(); ++i)
            notes.tooSmall += parts[i].kind == PartKind::TooSmall;
    }
    ShareVertices(m, normals, texCoords);
}

void Tell(const Notes& notes, const HullReport* hull)
{
    if (notes.cleaned.degenerate || notes.cleaned.duplicate)
        std::fprintf(stderr, "tessimo-import: left out triangles: %zu without area, %zu repeated\n",
                     notes.cleaned.degenerate, notes.cleaned.duplicate);
    if (notes.tooSmall)
        std::fprintf(stderr,
                     "tessimo-import: box coordinates for parts too small to have axes: %zu\n",
                     notes.tooSmall);
    if (hull && hull->nonManifold)
        std::fprintf(stderr,
                     "tessimo-import: outline written with edges of more than two triangles: "
                     "%zu\n",
                     hull->nonManifold);
    if (hull && hull->flatSheets)
        std::fprintf(stderr, "tessimo-import: outline left out for flat open sheets: %zu\n",
                     hull->flatSheets);
    if (hull && hull->unturned)
        std::fprintf(stderr,
                     "tessimo-import: outline places whose normals cancel out, each given one "
                     "of its triangles': %zu\n",
                     hull->unturned);
}

// What the meshes take of the demo's vertex memory: three arrays each,
// every one starting on the pool's alignment, and what the first may skip.
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

void PrintInfo(const std::vector<OutMesh>& meshes, const std::vector<Part>& parts, bool outline,
               const Options& o)
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
    if (!parts.empty())
    {
        std::printf("%zu parts\n", parts.size());
        for (const Part& p : parts)
        {
            std::printf("  %-31s  %-9s  %8zu faces  spread %g x %g x %g", p.name.c_str(),
                        KindName(p.kind), p.faces, p.spread[0], p.spread[1], p.spread[2]);
            if (p.kind == PartKind::Elongated && p.turns)
                std::printf("  %d turns", p.turns);
            else if (p.kind == PartKind::Elongated)
                std::printf("  folded");
            std::printf("\n");
        }
    }
    std::vector<OutMesh> model(meshes.begin(), meshes.end() - (outline ? 1 : 0));
    std::printf("vertex memory %llu bytes, %llu without the outline, of %llu\n",
                static_cast<unsigned long long>(PoolBytes(meshes)),
                static_cast<unsigned long long>(PoolBytes(model)),
                static_cast<unsigned long long>(kPoolBytes));
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
        o.source, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
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
    for (const OutMesh& m : meshes)
        if (!Finite(m.positions) || !Finite(m.texCoords))
            Fail(std::string("'") + o.source + "' has coordinates that are not finite numbers");
    if (o.materialGiven)
        for (OutMesh& m : meshes)
            m.shader = o.material;
    Place(meshes, o);
    for (const OutMesh& m : meshes)
        if (!Finite(m.positions))
            Fail(std::string("'") + o.source + "' placed has coordinates beyond a float's range");

    std::vector<Part> parts;
    Notes notes;
    for (OutMesh& m : meshes)
        Draw(m, o, parts, notes);
    std::vector<OutMesh> drawn;
    for (OutMesh& m : meshes)
        if (m.FaceCount() > 0)
            drawn.push_back(std::move(m));
    meshes.swap(drawn);
    if (meshes.empty())
        Fail(std::string("'") + o.source + "' holds no triangles with an area");
    HullReport hull;
    bool outline = false;
    if (o.outline > 0.0f)
    {
        OutMesh mesh = BuildOutline(meshes, o.outline, hull);
        outline = mesh.FaceCount() > 0;
        if (outline)
            meshes.push_back(std::move(mesh));
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
        PrintInfo(meshes, parts, outline, o);
    if (o.output)
    {
        std::vector<uint8_t> bytes = Encode(meshes, o);
        std::string error;
        if (!toolcli::WriteOutput(o.output, bytes.data(), bytes.size(), {o.source}, &error))
            Fail(error);
    }
    // What was made of the model, once it is out: a failed run says only
    // why it failed.
    Tell(notes, o.outline > 0.0f ? &hull : nullptr);
    if (o.outline > 0.0f && !outline && !hull.flatSheets)
        std::fprintf(stderr, "tessimo-import: no outline: its hull has no triangles\n");
    uint64_t pool = PoolBytes(meshes) + kPoolAlignment - 1;
    if (pool > kPoolBytes)
        std::fprintf(stderr,
                     "tessimo-import: warning: the model needs up to %llu bytes of vertex "
                     "memory, more than the demo's %llu\n",
                     static_cast<unsigned long long>(pool),
                     static_cast<unsigned long long>(kPoolBytes));
    return kTool.Finish();
}
