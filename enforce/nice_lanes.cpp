#include "enforce/nice_lanes.h"

#include <algorithm>
#include <bit>

#include "daemon/lookup_index.h"
#include "daemon/memory.h"

namespace ravelo {
namespace {

// Where a search comes by: on each lane the links of the last stop, or of the lanes' beginning,
// whose next stop has no larger id.
struct nice_route {
    nice_stop **links[nice_lane_count];
    nice_stop *last;  // the last stop before the place; null at the list's beginning
};

nice_route find_route(glob_struct *glob, uint32_t agent_id) {
    nice_route route{};
    nice_stop **links = glob->nice_lanes.data();
    for (size_t lane = nice_lane_count; lane-- > 0;) {
        while (links[lane] != nullptr && links[lane]->agent_id > agent_id) {
            route.last = links[lane];
            links = route.last->next;
        }
        route.links[lane] = links;
    }
    return route;
}

// On how many lanes an agent id stops: three zero bits of its hash for each.
size_t lanes_of(uint32_t agent_id) {
    const auto zeros = static_cast<size_t>(std::countr_zero(hash_words({agent_id})));
    return std::min(zeros / 3, nice_lane_count);
}

}  // namespace

niceapp_struct **place_in_nice_list(glob_struct *glob, uint32_t agent_id) {
    const nice_route route = find_route(glob, agent_id);
    niceapp_struct **place = route.last == nullptr ? &glob->nice_list : &route.last->entry->next;
    while (*place != nullptr && (*place)->agent_id > agent_id)
        place = &(*place)->next;
    return place;
}

void add_nice_stop(glob_struct *glob, niceapp_struct *entry) {
    const size_t lanes = lanes_of(entry->agent_id);
    nice_stop *stop = nullptr;
    if (lanes == 0 || allocate_record(&stop) != 0)
        return;
    stop->entry = entry;
    stop->agent_id = entry->agent_id;
    const nice_route route = find_route(glob, entry->agent_id);
    for (size_t lane = 0; lane < lanes; ++lane) {
        stop->next[lane] = route.links[lane][lane];
        route.links[lane][lane] = stop;
    }
}

void drop_nice_stop(glob_struct *glob, const niceapp_struct *entry) {
    const size_t lanes = lanes_of(entry->agent_id);
    if (lanes == 0)
        return;
    const nice_route route = find_route(glob, entry->agent_id);
    nice_stop *stop = nullptr;
    for (size_t lane = lanes; lane-- > 0;) {
        nice_stop **link = &route.links[lane][lane];
        while (*link != nullptr && (*link)->entry != entry && (*link)->agent_id == entry->agent_id)
            link = &(*link)->next[lane];
        if (*link == nullptr || (*link)->entry != entry)
            return;  // there was no memory for a stop
        stop = *link;
        *link = stop->next[lane];
    }
    release_memory(stop);
}

void release_nice_lanes(glob_struct *glob) {
    nice_stop *stop = glob->nice_lanes[0];
    while (stop != nullptr) {
        nice_stop *const next = stop->next[0];
        release_memory(stop);
        stop = next;
    }
    glob->nice_lanes = {};
}

}  // namespace ravelo
