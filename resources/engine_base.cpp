#include "resources/engine_base.h"

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
