/*
 * What the unwinder in Debian's libgcc asks its own C library for: which object holds an address, and where that
 * object's unwinding data begins. musl has the older question only, which this turns it into.
 */
#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>
#include <stdint.h>

struct dl_find_object {
    unsigned long long dlfo_flags;
    void* dlfo_map_start;
    void* dlfo_map_end;
    struct link_map* dlfo_link_map;
    void* dlfo_eh_frame;
};

struct search {
    uintptr_t address;
    struct dl_find_object* found;
};

static int look(struct dl_phdr_info* object, size_t size, void* argument)
{
    struct search* search = argument;
    const ElfW(Phdr) * frames = NULL;
    int i, inside = 0;

    (void)size;
    for (i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)* segment = &object->dlpi_phdr[i];
        uintptr_t start = object->dlpi_addr + segment->p_vaddr;

        if (segment->p_type == PT_GNU_EH_FRAME)
            frames = segment;
        if (segment->p_type == PT_LOAD && search->address >= start && search->address < start + segment->p_memsz) {
            inside = 1;
            search->found->dlfo_map_start = (void*)start;
            search->found->dlfo_map_end = (void*)(start + segment->p_memsz);
        }
    }
    if (!inside || frames == NULL)
        return 0;
    search->found->dlfo_flags = 0;
    search->found->dlfo_link_map = NULL;
    search->found->dlfo_eh_frame = (void*)(object->dlpi_addr + frames->p_vaddr);
    return 1;
}

__attribute__((visibility("hidden"))) int _dl_find_object(void* address, struct dl_find_object* found);

int _dl_find_object(void* address, struct dl_find_object* found)
{
    struct search search = {(uintptr_t)address, found};

    return dl_iterate_phdr(look, &search) ? 0 : -1;
}
