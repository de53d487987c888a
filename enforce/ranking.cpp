#include "enforce/ranking.h"

#include <cstddef>

namespace ravelo {
namespace {

using member_link = schedapp_struct *schedapp_struct::*;

// One ranking: how it is linked, how deep a new record may go in, and which key is better.
struct ranking {
    member_link link;
    size_t depth;
    uint32_t schedapp_struct::*key;
    bool largest_first;
};

constexpr ranking references_ranking{&schedapp_struct::next_by_refs, 7, &schedapp_struct::ref_count,
                                     true};
constexpr ranking age_ranking{&schedapp_struct::next_by_age, 8, &schedapp_struct::age, true};
constexpr ranking weight_ranking{&schedapp_struct::next_by_weight, 9, &schedapp_struct::min_weight,
                                 false};

bool ranks_before(const ranking &order, const schedapp_struct *a, const schedapp_struct *b) {
    const uint32_t key_a = a->*order.key;
    const uint32_t key_b = b->*order.key;
    return order.largest_first ? key_a > key_b : key_a < key_b;
}

// Inserts a record before the first one that does not rank strictly better, unless its place would
// be beyond the ranking's depth. What it pushes back stays, however far.
void insert(const ranking &order, schedapp_struct **front, schedapp_struct *member) {
    schedapp_struct **place = front;
    for (size_t i = 0; i < order.depth; ++i) {
        if (*place == nullptr || !ranks_before(order, *place, member)) {
            member->*order.link = *place;
            *place = member;
            return;
        }
        place = &((*place)->*order.link);
    }
}

// Gives the priority to the first record of a ranking that has none yet, if there is one.
void give_next(schedapp_struct *&front, member_link link, int32_t priority) {
    while (front != nullptr && front->priority != unranked_priority)
        front = front->*link;
    if (front == nullptr)
        return;
    front->priority = priority;
    front = front->*link;
}

}  // namespace

void schedule_class(glob_struct * /*glob*/, schedapp_struct *chain) {
    schedapp_struct *refs_front = nullptr;
    schedapp_struct *age_front = nullptr;
    schedapp_struct *weight_front = nullptr;
    for (schedapp_struct *member = chain; member != nullptr; member = member->class_next) {
        if (member->seen != 1 || member->l_count <= 0)
            continue;
        member->old_priority = member->priority;
        member->priority = unranked_priority;
        insert(references_ranking, &refs_front, member);
        insert(age_ranking, &age_front, member);
        insert(weight_ranking, &weight_front, member);
    }
    for (const int32_t priority : {0, 5, 10})
        prioritize(refs_front, age_front, weight_front, priority);
}

void prioritize(schedapp_struct *&by_refs, schedapp_struct *&by_age, schedapp_struct *&by_weight,
                int32_t priority) {
    give_next(by_refs, references_ranking.link, priority);
    give_next(by_age, age_ranking.link, priority);
    give_next(by_weight, weight_ranking.link, priority);
}

}  // namespace ravelo
