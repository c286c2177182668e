#include "resources/engine_base.h"

#include "app/gl_entry_points.h"
#include "resources/resource_list.h"

EngineBase* g_engine = nullptr;

EngineBase::EngineBase()
    : textures(new ResourceList), shaders(new ResourceList), vertexPrograms(new ResourceList)
{
}

// The objects have been deleted by now (Engine's destructor empties the
// registries); what is left are the lists' own nodes.
EngineBase::~EngineBase()
{
    delete vertexPrograms;
    delete shaders;
    delete textures;
}

void EngineBase::SelectUnit(GLenum unit)
{
    if (activeTextureUnit == unit)
        return;
    activeTextureUnit = unit;
    if (ep_glActiveTextureARB)
        glActiveTextureARB(unit);
}
