// Named melts of the channel solver: the Cross-WLF constants of real grades
// from their published sources, which a case file selects with
// `material = NAME` (see settings.h for how they combine with its keys).
//
// The table holds what the sources give: the seven Cross-WLF constants of
// each grade (D3 is zero for both, so the example's pressure-free formula
// is the published model). Neither source gives the melt density, specific
// heat and conductivity, so a case file naming a material gives those
// itself.
#pragma once

#include <string>
#include <vector>

namespace channel {

struct Material {
    std::string name;    // the value of `material` in a case file
    std::string grade;   // trade name, supplier and family
    std::string source;  // where the constants come from
    // Cross-WLF in the example's units (CGS, temperatures on the
    // Celsius + 273.0 scale): n, tau* [dyn/cm^2], D1 [poise], D2 [K],
    // A1, A2 [K].
    double n, tau, d1, d2, a1, a2;
};

// The grades, in the order `MaterialNames` lists them.
const std::vector<Material>& Materials();
// The grade called `name`, or nullptr.
const Material* FindMaterial(const std::string& name);
// "name1, name2": for messages.
std::string MaterialNames();

}  // namespace channel
