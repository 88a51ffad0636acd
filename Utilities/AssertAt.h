#ifndef ASSERTAT_H
#define ASSERTAT_H

#include <cassert>

// Field crash reports and the fault log know some checks by the source
// location they have always had; this keeps that location when the code
// around them moves or is split across files. Like assert, the report
// carries the condition itself, and the check is always active.
#define ASSERT_AT(File, Line, Condition) \
    ((Condition) ? static_cast<void>(0) : __assert_fail(#Condition, File, Line, __extension__ __PRETTY_FUNCTION__))

#endif
