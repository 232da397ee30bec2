/* What HeadersTest.c offers to HeadersTest.cpp. */
#ifndef TESTS_ASIC_HEADERSTEST_H
#define TESTS_ASIC_HEADERSTEST_H

#include "asic/SoftwareAsic.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Programs a LAG of two ports from C and sends a flow through it. */
pipe_status sendFlowFromC(velmor_asic_result_t* result);

#ifdef __cplusplus
}
#endif

#endif
