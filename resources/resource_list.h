// ResourceList: the ordered list behind each of the engine's three
// registries (textures, shaders, vertex programs).
//
// Doubly linked around a sentinel, new entries at the end, so enumeration
// follows registration. The list holds plain pointers and destroys nothing:
// the registry operations own the objects and delete them through their
// virtual destructors. A walk keeps its position in a ResourceListNode*
// that the engine stores (one per registry); null stands for "past the
// end".
//
//     for (ResourceListNode* n = list->First(); n; n = list->Next(n))
//         Use(static_cast<Texture*>(n->object));
#pragma once

#include <cstdint>

class ResourceListNode
{
public:
    ResourceListNode* previous;
    ResourceListNode* next;
    void* object;
};

class ResourceList
{
public:
    ResourceList();
    // Releases the nodes; the objects are the owner's business.
    ~ResourceList();
    ResourceList(const ResourceList&) = delete;
    ResourceList& operator=(const ResourceList&) = delete;

    // The first entry, or null when the list is empty.
    ResourceListNode* First() const { return Next(&sentinel); }
    // The entry behind `node`, or null at the end.
    ResourceListNode* Next(const ResourceListNode* node) const
    {
        return node->next == &sentinel ? nullptr : node->next;
    }
    void Append(void* object);
    // Takes every entry that holds `object` off the list; returns how many.
    uint32_t Remove(const void* object);
    // Whether some entry holds `object`.
    bool Contains(const void* object) const;

    uint32_t count;

private:
    ResourceListNode sentinel;
};
