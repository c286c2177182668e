#include "strokes.h"

#include "normals.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace
{

// A flat part is this much thinner than it is wide; an elongated one
// this much longer than it is wide (standard deviations of its surface).
constexpr double kFlatness = 0.25;
constexpr double kElongation = 1.6;
// A triangle of an elongated part that faces along the axis more than
// this is part of an end cap, mapped flat across the axis.
constexpr double kCapFacing = 0.7;
// A part whose spread is below this share of a repeat shows no direction
// of its own: it takes the box coordinates of the model around it.
constexpr double kSmallest = 0.02;

struct Frame
{
    double centre[3] = {0.0, 0.0, 0.0};
    double axis[3][3] = {}; // unit axes, the longest spread first
    double spread[3] = {0.0, 0.0, 0.0};
};

double Dot(const double* a, const double* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Eigenvalues and unit eigenvectors (columns of `vectors`) of a symmetric
// 3 by 3 matrix, by Jacobi rotations.
void Eigen(double m[3][3], double values[3], double vectors[3][3])
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            vectors[i][j] = i == j ? 1.0 : 0.0;
    for (int sweep = 0; sweep < 50; ++sweep)
    {
        double off = m[0][1] * m[0][1] + m[0][2] * m[0][2] + m[1][2] * m[1][2];
        if (off < 1e-30 * (m[0][0] * m[0][0] + m[1][1] * m[1][1] + m[2][2] * m[2][2]) || off == 0.0)
            break;
        for (int p = 0; p < 2; ++p)
            for (int q = p + 1; q < 3; ++q)
            {
                if (m[p][q] == 0.0)
                    continue;
                double theta = (m[q][q] - m[p][p]) / (2.0 * m[p][q]);
                double t =
                    (theta >= 0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                double c = 1.0 / std::sqrt(t * t + 1.0), s = t * c;
                for (int k = 0; k < 3; ++k)
                {
                    double mkp = m[k][p], mkq = m[k][q];
                    m[k][p] = c * mkp - s * mkq;
                    m[k][q] = s * mkp + c * mkq;
                }
                for (int k = 0; k < 3; ++k)
                {
                    double mpk = m[p][k], mqk = m[q][k];
                    m[p][k] = c * mpk - s * mqk;
                    m[q][k] = s * mpk + c * mqk;
                }
                for (int k = 0; k < 3; ++k)
                {
                    double vkp = vectors[k][p], vkq = vectors[k][q];
                    vectors[k][p] = c * vkp - s * vkq;
                    vectors[k][q] = s * vkp + c * vkq;
                }
            }
    }
    for (int i = 0; i < 3; ++i)
        values[i] = m[i][i];
}

// The part's principal axes: those of the second moments of its surface
// about its centre of area, so that the spacing of vertices doesn't count.
Frame PrincipalFrame(const OutMesh& mesh, const std::vector<uint32_t>& faces, double* area)
{
    Frame frame;
    double sum[3] = {0, 0, 0}, moments[3][3] = {};
    *area = 0.0;
    for (uint32_t f : faces)
    {
        const float* p[3] = {mesh.Position(f, 0), mesh.Position(f, 1), mesh.Position(f, 2)};
        float normal[3];
        double a = 0.5 * FaceNormal(p[0], p[1], p[2], normal);
        double g[3];
        for (int k = 0; k < 3; ++k)
            g[k] = (double(p[0][k]) + p[1][k] + p[2][k]) / 3.0;
        // Over a triangle, the mean of x x^T is (sum of v v^T + 9 g g^T) / 12.
        for (int i = 0; i < 3; ++i)
        {
            sum[i] += a * g[i];
            for (int j = 0; j < 3; ++j)
            {
                double corners = 0.0;
                for (int c = 0; c < 3; ++c)
                    corners += double(p[c][i]) * p[c][j];
                moments[i][j] += a * (corners + 9.0 * g[i] * g[j]) / 12.0;
            }
        }
        *area += a;
    }
    if (!(*area > 0.0))
        return frame;
    for (int i = 0; i < 3; ++i)
        frame.centre[i] = sum[i] / *area;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            moments[i][j] = moments[i][j] / *area - frame.centre[i] * frame.centre[j];
    double values[3], vectors[3][3];
    Eigen(moments, values, vectors);
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int a, int b) { return values[a] > values[b]; });
    for (int r = 0; r < 3; ++r)
    {
        frame.spread[r] = std::sqrt(std::fmax(0.0, values[order[r]]));
        for (int k = 0; k < 3; ++k)
            frame.axis[r][k] = vectors[k][order[r]];
    }
    return frame;
}

PartKind Classify(const Frame& frame, double area, float size)
{
    if (!(area > 0.0) || !(frame.spread[1] > 0.0) || frame.spread[0] < kSmallest * size)
        return PartKind::TooSmall;
    if (frame.spread[2] < kFlatness * frame.spread[1])
        return PartKind::Flat;
    if (frame.spread[0] > kElongation * frame.spread[1])
        return PartKind::Elongated;
    return PartKind::Other;
}

// Faces of each part: connected through shared places, within one piece.
std::vector<std::vector<uint32_t>> SplitParts(const OutMesh& mesh)
{
    std::vector<uint32_t> weld = WeldByPosition(mesh.positions, nullptr);
    std::vector<uint32_t> root(mesh.FaceCount());
    std::iota(root.begin(), root.end(), 0u);
    auto find = [&](uint32_t f)
    {
        while (root[f] != f)
            f = root[f] = root[root[f]];
        return f;
    };
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> first; // (piece, place) to a face
    for (uint32_t f = 0; f < mesh.FaceCount(); ++f)
        for (int k = 0; k < 3; ++k)
        {
            auto key = std::make_pair(mesh.facePieces[f], weld[mesh.faces[3 * f + size_t(k)]]);
            auto found = first.emplace(key, f);
            uint32_t a = find(f), b = find(found.first->second);
            root[std::max(a, b)] = std::min(a, b);
        }
    std::map<uint32_t, size_t> index;
    std::vector<std::vector<uint32_t>> parts;
    for (uint32_t f = 0; f < mesh.FaceCount(); ++f)
    {
        auto found = index.emplace(find(f), parts.size());
        if (found.second)
            parts.emplace_back();
        parts[found.first->second].push_back(f);
    }
    return parts;
}

void BoxFace(const OutMesh& mesh, uint32_t f, float size, float* out)
{
    float n[3];
    FaceNormal(mesh.Position(f, 0), mesh.Position(f, 1), mesh.Position(f, 2), n);
    float a[3] = {std::fabs(n[0]), std::fabs(n[1]), std::fabs(n[2])};
    int axis = a[0] >= a[1] && a[0] >= a[2] ? 0 : (a[1] >= a[2] ? 1 : 2);
    int u = axis == 0 ? 2 : 0;
    int w = axis == 1 ? 2 : 1;
    for (int k = 0; k < 3; ++k)
    {
        const float* q = mesh.Position(f, k);
        out[2 * k] = q[u] / size;
        out[2 * k + 1] = q[w] / size;
    }
}

struct Offsets
{
    double d[3][3]; // each corner from the centre, along the frame's axes
};

Offsets InFrame(const OutMesh& mesh, uint32_t f, const Frame& frame)
{
    Offsets o;
    for (int k = 0; k < 3; ++k)
    {
        const float* p = mesh.Position(f, k);
        double d[3] = {p[0] - frame.centre[0], p[1] - frame.centre[1], p[2] - frame.centre[2]};
        for (int r = 0; r < 3; ++r)
            o.d[k][r] = Dot(d, frame.axis[r]);
    }
    return o;
}

// The face's normal in the frame: which of the axes it turns to most.
int FacingAxis(const OutMesh& mesh, uint32_t f, const Frame& frame, double* along)
{
    float n[3];
    FaceNormal(mesh.Position(f, 0), mesh.Position(f, 1), mesh.Position(f, 2), n);
    double nd[3] = {n[0], n[1], n[2]};
    int best = 0;
    double a[3];
    for (int r = 0; r < 3; ++r)
        a[r] = std::fabs(Dot(nd, frame.axis[r]));
    best = a[0] >= a[1] && a[0] >= a[2] ? 0 : (a[1] >= a[2] ? 1 : 2);
    *along = a[0];
    return best;
}

// A wing or a tail: strokes along the chord on the broad faces, carried
// round the leading and trailing edges and across the tips.
void FlatFace(const OutMesh& mesh, uint32_t f, const Frame& frame, float size, float* out)
{
    double along;
    int facing = FacingAxis(mesh, f, frame, &along);
    Offsets o = InFrame(mesh, f, frame);
    int s = facing == 1 ? 2 : 1;
    int t = facing == 0 ? 2 : 0;
    for (int k = 0; k < 3; ++k)
    {
        out[2 * k] = float(o.d[k][s] / size);
        out[2 * k + 1] = float(o.d[k][t] / size);
    }
}

// Turns the frame's cross axes so that the seam of the wrap lies on the
// underside, where the paper rarely sees it.
void AimSeam(Frame& frame)
{
    const double* axis = frame.axis[0];
    double down[3] = {0.0, -1.0, 0.0};
    if (std::fabs(axis[1]) > 0.9)
        down[1] = 0.0, down[2] = 1.0;
    double along = Dot(down, axis);
    double seam[3];
    for (int k = 0; k < 3; ++k)
        seam[k] = down[k] - along * axis[k];
    double length = std::sqrt(Dot(seam, seam));
    for (int k = 0; k < 3; ++k)
        frame.axis[1][k] = -seam[k] / length;
    const double* a = frame.axis[1];
    frame.axis[2][0] = axis[1] * a[2] - axis[2] * a[1];
    frame.axis[2][1] = axis[2] * a[0] - axis[0] * a[2];
    frame.axis[2][2] = axis[0] * a[1] - axis[1] * a[0];
}

// The mean distance of the part's sides from its long axis.
double MeanRadius(const OutMesh& mesh, const std::vector<uint32_t>& faces, const Frame& frame)
{
    double sum = 0.0, weight = 0.0;
    for (uint32_t f : faces)
    {
        double facing;
        FacingAxis(mesh, f, frame, &facing);
        if (facing > kCapFacing)
            continue; // an end cap
        Offsets o = InFrame(mesh, f, frame);
        float n[3];
        double a = FaceNormal(mesh.Position(f, 0), mesh.Position(f, 1), mesh.Position(f, 2), n);
        double y = (o.d[0][1] + o.d[1][1] + o.d[2][1]) / 3.0;
        double z = (o.d[0][2] + o.d[1][2] + o.d[2][2]) / 3.0;
        sum += a * std::sqrt(y * y + z * z);
        weight += a;
    }
    return weight > 0.0 ? sum / weight : 0.0;
}

// A fuselage, a spar, a wheel's axle: s runs around the long axis, a whole
// number of turns, t along it. The end caps are mapped flat across it. A
// part too thin for half a repeat around (a tail boom) would squeeze a
// whole one into a blur: there s runs as far as the way round from the top,
// folding back on itself at the top and underneath, so the strokes keep
// their density and still meet.
void ElongatedFace(const OutMesh& mesh, uint32_t f, const Frame& frame, float size, int turns,
                   double meanRadius, float* out)
{
    double along;
    FacingAxis(mesh, f, frame, &along);
    Offsets o = InFrame(mesh, f, frame);
    if (along > kCapFacing)
    {
        for (int k = 0; k < 3; ++k)
        {
            out[2 * k] = float(o.d[k][1] / size);
            out[2 * k + 1] = float(o.d[k][2] / size);
        }
        return;
    }
    double s[3], radius[3], largest = 0.0;
    for (int k = 0; k < 3; ++k)
    {
        radius[k] = std::hypot(o.d[k][1], o.d[k][2]);
        largest = std::fmax(largest, radius[k]);
        double angle = std::atan2(o.d[k][2], o.d[k][1]);
        s[k] = turns ? turns * angle / (2.0 * M_PI) : meanRadius * std::fabs(angle) / size;
    }
    // A triangle across the seam (s near -turns/2 and +turns/2) takes its
    // corners to one side; the texture repeats, so nothing shows.
    double low = std::min({s[0], s[1], s[2]}), high = std::max({s[0], s[1], s[2]});
    if (turns && high - low > 0.5 * turns)
        for (double& v : s)
            if (v < 0.0)
                v += turns;
    // A corner on the axis (the tip of a cone) has no angle of its own.
    for (int k = 0; k < 3; ++k)
        if (radius[k] < 1e-4 * largest)
        {
            int a = (k + 1) % 3, b = (k + 2) % 3;
            s[k] = 0.5 * (s[a] + s[b]);
        }
    for (int k = 0; k < 3; ++k)
    {
        out[2 * k] = float(s[k]);
        out[2 * k + 1] = float(o.d[k][0] / size);
    }
}

} // namespace

const char* KindName(PartKind kind)
{
    switch (kind)
    {
    case PartKind::Elongated:
        return "elongated";
    case PartKind::Flat:
        return "flat";
    case PartKind::Other:
        return "other";
    default:
        return "too small";
    }
}

CornerTexCoords BoxTexCoords(const OutMesh& mesh, float size)
{
    CornerTexCoords out(6 * mesh.FaceCount());
    for (uint32_t f = 0; f < mesh.FaceCount(); ++f)
        BoxFace(mesh, f, size, &out[6 * size_t(f)]);
    return out;
}

CornerTexCoords FormTexCoords(const OutMesh& mesh, float size, std::vector<Part>& parts)
{
    CornerTexCoords out(6 * mesh.FaceCount());
    std::vector<std::vector<uint32_t>> split = SplitParts(mesh);
    std::map<uint32_t, int> perPiece;
    for (size_t i = 0; i < split.size(); ++i)
    {
        const std::vector<uint32_t>& faces = split[i];
        Part part;
        uint32_t piece = mesh.facePieces[faces[0]];
        int number = ++perPiece[piece];
        part.name = mesh.pieceNames[piece] + (number > 1 ? "." + std::to_string(number) : "");
        part.faces = faces.size();
        double area = 0.0, radius = 0.0;
        Frame frame = PrincipalFrame(mesh, faces, &area);
        part.kind = Classify(frame, area, size);
        for (int r = 0; r < 3; ++r)
            part.spread[r] = float(frame.spread[r]);
        if (part.kind == PartKind::Elongated)
        {
            AimSeam(frame);
            radius = MeanRadius(mesh, faces, frame);
            part.turns = int(std::lround(2.0 * M_PI * radius / size));
        }
        for (uint32_t f : faces)
        {
            float* corners = &out[6 * size_t(f)];
            if (part.kind == PartKind::Elongated)
                ElongatedFace(mesh, f, frame, size, part.turns, radius, corners);
            else if (part.kind == PartKind::Flat)
                FlatFace(mesh, f, frame, size, corners);
            else
                BoxFace(mesh, f, size, corners);
        }
        parts.push_back(part);
    }
    return out;
}
