// ink_measure (scripts/measure): the measures of support/ink_measures.h for a
// picture; SOLID.png is the same shot with the model solid black (the materials
// --solid writes into a Shaders.ini); --sphere adds the tone measures of a
// sphere of radius 5 at (0, -2, -5) with the light after TICKS ticks.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/files.h"
#include "support/ink_measures.h"
#include "support/picture.h"

int main(int argc, char** argv)
{
    const char* usage = "usage: ink_measure PICTURE.png SOLID.png [--sphere TICKS]\n";
    if (argc > 1 && strcmp(argv[1], "--help") == 0)
    {
        printf("%s       ink_measure --solid SHADERS.ini\n", usage);
        return 0;
    }
    if (argc == 3 && strcmp(argv[1], "--solid") == 0)
    {
        std::string text = testsupport::ReadText(argv[2]);
        if (text.find("[Hatching - TU0]") == std::string::npos)
        {
            fprintf(stderr, "ink_measure: no Hatching stage in %s\n", argv[2]);
            return 1;
        }
        testsupport::WriteText(argv[2], testsupport::InkMaskMaterials(text));
        return 0;
    }
    long ticks = argc == 5 && strcmp(argv[3], "--sphere") == 0 ? strtol(argv[4], nullptr, 10) : -1;
    if (argc != 3 && ticks < 0)
    {
        fprintf(stderr, "%s", usage);
        return 2;
    }
    testsupport::Picture shot, solid;
    if (!testsupport::ReadPng(argv[1], &shot) || !testsupport::ReadPng(argv[2], &solid) ||
        shot.width != solid.width || shot.height != solid.height)
    {
        fprintf(stderr, "ink_measure: cannot read two pictures of one size\n");
        return 1;
    }
    auto mask = testsupport::ModelMask(solid);
    testsupport::InkMeasures ink = testsupport::MeasureInk(shot, mask);
    printf("crisp %.4f outline %.4f band %.2f stray %ld", ink.crisp, ink.outline, ink.band,
           ink.stray);
    if (ticks >= 0)
    {
        const double centre[3] = {0, -2, -5};
        auto fit = testsupport::SphereTone(shot, mask, ticks, centre, 5.0);
        printf(" tone %.4f steps %d samples %ld", fit.correlation, fit.steps, fit.samples);
    }
    printf("\n");
    return 0;
}
