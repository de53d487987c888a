// The instance: its directory, its tmp directory, its settings and who may govern it.
#pragma once

#include <string>
#include <string_view>

#include "dbm/common/outcome.h"
#include "dbm/instance_conf.h"

namespace dbm {

struct instance {
    std::string directory;  // $DBM_INSTANCE or /var/lib/ravelo; absolute where it could be resolved
    int resolve_error = 0;  // why a relative path could not be made absolute
    settings conf;
    outcome conf_problem;  // what an attach answers because of instance.conf
};

// The process's one instance, loaded at its first use. May throw bad_alloc.
[[nodiscard]] instance &current_instance();

// Loads it anew from the environment and instance.conf. May throw bad_alloc.
void load_instance();

// Whether the instance directory can be used: 0, ENOENT, ENOTDIR, ENAMETOOLONG, code::open_to_all,
// where anybody could put settings and a tmp directory of his own in place, or what the system
// says.
[[nodiscard]] int check_directory(const instance &which);

// Makes sure that there is a tmp directory which not everyone can write to, and which belongs to
// root, the instance directory's owner or the invoking user. One that is missing is made with mode
// 2770 and the instance directory's group, so that whoever may govern can go on where another user
// ended; an older one of ours gets both. Results: 0, a system error number, code::tmp_open_to_all,
// code::tmp_of_other or code::tmp_not_directory. May throw bad_alloc.
[[nodiscard]] int prepare_tmp(const instance &which);

// Whether the invoking user may govern: root, the directory's owner or a member of its group. A
// directory that is missing or none is nobody's and refuses nobody: who needs it says what is
// wrong.
[[nodiscard]] bool may_govern(const instance &which);

// The path of a file in the instance directory or in its tmp directory. May throw bad_alloc.
[[nodiscard]] std::string instance_file(const instance &which, std::string_view name);
[[nodiscard]] std::string tmp_directory(const instance &which);
[[nodiscard]] std::string tmp_file(const instance &which, std::string_view name);

}  // namespace dbm
