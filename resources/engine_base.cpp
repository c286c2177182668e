#include "resources/engine_base.h"

EngineBase* g_engine = nullptr;

EngineBase::EngineBase() = default;

EngineBase::~EngineBase() = default;
