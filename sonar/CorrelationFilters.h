#ifndef CORRELATIONFILTERS_H
#define CORRELATIONFILTERS_H

#include "CorFpgaTypes.h"

// The fixed correlation filters of the Lumet long-chirp pings, appended in
// order to the caller's list (first coefficient 0, second the filter tap).
void AppendCorrelationFilter200Long(CorrelationFilterCoefficients_T& filter);
void AppendCorrelationFilter350Long(CorrelationFilterCoefficients_T& filter);

#endif
