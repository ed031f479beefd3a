#include "xml/classes.h"

namespace qrt::xml {

constexpr UnitTable madeNameClasses = makeNameClasses();
constexpr UnitTable madeLexClasses = makeLexClasses();
constinit const UnitTable nameClasses = madeNameClasses;
constinit const UnitTable lexClasses = madeLexClasses;

}  // namespace qrt::xml
