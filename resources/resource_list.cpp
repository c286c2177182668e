#include "resources/resource_list.h"

ResourceList::ResourceList() : count(0)
{
    sentinel.previous = &sentinel;
    sentinel.next = &sentinel;
    sentinel.object = nullptr;
}

ResourceList::~ResourceList()
{
    ResourceListNode* node = sentinel.next;
    while (node != &sentinel)
    {
        ResourceListNode* next = node->next;
        delete node;
        node = next;
    }
}

void ResourceList::Append(void* object)
{
    ResourceListNode* node = new ResourceListNode{sentinel.previous, &sentinel, object};
    sentinel.previous->next = node;
    sentinel.previous = node;
    ++count;
}

uint32_t ResourceList::Remove(const void* object)
{
    uint32_t removed = 0;
    ResourceListNode* node = sentinel.next;
    while (node != &sentinel)
    {
        ResourceListNode* next = node->next;
        if (node->object == object)
        {
            node->previous->next = next;
            next->previous = node->previous;
            delete node;
            --count;
            ++removed;
        }
        node = next;
    }
    return removed;
}

bool ResourceList::Contains(const void* object) const
{
    for (ResourceListNode* node = First(); node; node = Next(node))
        if (node->object == object)
            return true;
    return false;
}
