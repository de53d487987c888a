#include "daemon/base/sqlca.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace ravelo {
namespace {

constexpr sqlca make_template() {
    sqlca ca{};
    constexpr std::string_view eye_catcher = "SQLCA   ";
    constexpr std::string_view component = "RAVELOD ";
    std::copy(eye_catcher.begin(), eye_catcher.end(), ca.sqlcaid);
    ca.sqlcabc = sizeof(sqlca);
    std::fill(std::begin(ca.sqlerrmc), std::end(ca.sqlerrmc), ' ');
    std::copy(component.begin(), component.end(), ca.sqlerrp);
    std::fill(std::begin(ca.sqlwarn), std::end(ca.sqlwarn), ' ');
    std::fill(std::begin(ca.sqlstate), std::end(ca.sqlstate), ' ');
    return ca;
}

}  // namespace

constexpr sqlca init_sqlca = make_template();

void set_init_sqlca(sqlca *ca) {
    if (ca != nullptr)
        *ca = init_sqlca;
}

}  // namespace ravelo
