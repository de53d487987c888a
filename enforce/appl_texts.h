// The texts of an application that rules match and records report.
#pragma once

#include "govern/interface/snapshot_records.h"

namespace ravelo {

// The snapshot's fields cut at the first blank. Behind a text there are zeros up to the end of its
// field, which is made of whole 64-bit words, so that texts can be compared word by word.
struct appl_texts {
    char appl_name[24];
    char auth_id[24];
    char appl_text[40];
};

// Copies the texts of an application record.
void copy_texts(const appl_snapshot *record, appl_texts *texts);

}  // namespace ravelo
