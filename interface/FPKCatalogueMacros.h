// Preprocessor machinery that turns the entries of FPKCatalogue.def into
// parameter lists, argument lists and descriptor tables.
#pragma once

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

#define FPK_PP_CAT(a, b) FPK_PP_CAT_I(a, b)
#define FPK_PP_CAT_I(a, b) a##b
#define FPK_PP_TAIL(...) FPK_PP_TAIL_I(__VA_ARGS__)
#define FPK_PP_TAIL_I(first, ...) __VA_ARGS__
#define FPK_PP_EMPTY(...)

#define FPK_PP_NARGS(...) FPK_PP_NARGS_I(__VA_ARGS__, 32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1)
#define FPK_PP_NARGS_I(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19, _20, _21, _22, _23, _24, _25, _26, _27, _28, _29, _30, _31, _32, n, ...) n

// FPK_FOR_EACH(M, e1, ..., ek) expands to M(k, e1) M(k-1, e2) ... M(1, ek):
// each entry with a number that is unique within the list.
#define FPK_FOR_EACH(M, ...) FPK_PP_CAT(FPK_FE_, FPK_PP_NARGS(__VA_ARGS__))(M, __VA_ARGS__)
#define FPK_FE_1(M, x) M(1, x)
#define FPK_FE_2(M, x, ...) M(2, x) FPK_FE_1(M, __VA_ARGS__)
#define FPK_FE_3(M, x, ...) M(3, x) FPK_FE_2(M, __VA_ARGS__)
#define FPK_FE_4(M, x, ...) M(4, x) FPK_FE_3(M, __VA_ARGS__)
#define FPK_FE_5(M, x, ...) M(5, x) FPK_FE_4(M, __VA_ARGS__)
#define FPK_FE_6(M, x, ...) M(6, x) FPK_FE_5(M, __VA_ARGS__)
#define FPK_FE_7(M, x, ...) M(7, x) FPK_FE_6(M, __VA_ARGS__)
#define FPK_FE_8(M, x, ...) M(8, x) FPK_FE_7(M, __VA_ARGS__)
#define FPK_FE_9(M, x, ...) M(9, x) FPK_FE_8(M, __VA_ARGS__)
#define FPK_FE_10(M, x, ...) M(10, x) FPK_FE_9(M, __VA_ARGS__)
#define FPK_FE_11(M, x, ...) M(11, x) FPK_FE_10(M, __VA_ARGS__)
#define FPK_FE_12(M, x, ...) M(12, x) FPK_FE_11(M, __VA_ARGS__)
#define FPK_FE_13(M, x, ...) M(13, x) FPK_FE_12(M, __VA_ARGS__)
#define FPK_FE_14(M, x, ...) M(14, x) FPK_FE_13(M, __VA_ARGS__)
#define FPK_FE_15(M, x, ...) M(15, x) FPK_FE_14(M, __VA_ARGS__)
#define FPK_FE_16(M, x, ...) M(16, x) FPK_FE_15(M, __VA_ARGS__)
#define FPK_FE_17(M, x, ...) M(17, x) FPK_FE_16(M, __VA_ARGS__)
#define FPK_FE_18(M, x, ...) M(18, x) FPK_FE_17(M, __VA_ARGS__)
#define FPK_FE_19(M, x, ...) M(19, x) FPK_FE_18(M, __VA_ARGS__)
#define FPK_FE_20(M, x, ...) M(20, x) FPK_FE_19(M, __VA_ARGS__)
#define FPK_FE_21(M, x, ...) M(21, x) FPK_FE_20(M, __VA_ARGS__)
#define FPK_FE_22(M, x, ...) M(22, x) FPK_FE_21(M, __VA_ARGS__)
#define FPK_FE_23(M, x, ...) M(23, x) FPK_FE_22(M, __VA_ARGS__)
#define FPK_FE_24(M, x, ...) M(24, x) FPK_FE_23(M, __VA_ARGS__)
#define FPK_FE_25(M, x, ...) M(25, x) FPK_FE_24(M, __VA_ARGS__)
#define FPK_FE_26(M, x, ...) M(26, x) FPK_FE_25(M, __VA_ARGS__)
#define FPK_FE_27(M, x, ...) M(27, x) FPK_FE_26(M, __VA_ARGS__)
#define FPK_FE_28(M, x, ...) M(28, x) FPK_FE_27(M, __VA_ARGS__)
#define FPK_FE_29(M, x, ...) M(29, x) FPK_FE_28(M, __VA_ARGS__)
#define FPK_FE_30(M, x, ...) M(30, x) FPK_FE_29(M, __VA_ARGS__)
#define FPK_FE_31(M, x, ...) M(31, x) FPK_FE_30(M, __VA_ARGS__)
#define FPK_FE_32(M, x, ...) M(32, x) FPK_FE_31(M, __VA_ARGS__)

// Entry kinds as seen by the operation signatures. An entry expands to the
// name of a one-argument macro (taking the entry's number) that gives the
// parameter with a leading comma, or nothing for I/O entries.
#define FPK_SIG_ENTRY(n, e) FPK_SIG_##e(n)
#define FPK_SIG_IN_COL(name, type) FPK_SIG_COLUMN
#define FPK_SIG_IN_TAB(name, cols) FPK_SIG_TABLE
#define FPK_SIG_IN_SCALAR(name) FPK_SIG_SCALAR
#define FPK_SIG_OUT_TAB(name, cols) FPK_SIG_RESULT
#define FPK_SIG_IO_COL(name, type) FPK_PP_EMPTY
#define FPK_SIG_IO_PAT(pattern) FPK_PP_EMPTY
#define FPK_SIG_COLUMN(n) , [[maybe_unused]] const ::RhoCommonObjects::ColumnHandle& a##n
#define FPK_SIG_TABLE(n) , [[maybe_unused]] const ::RhoCommonObjects::TableHandle& a##n
#define FPK_SIG_SCALAR(n) , [[maybe_unused]] int a##n
#define FPK_SIG_RESULT(n) , [[maybe_unused]] ::RhoCommonObjects::TableHandle& a##n

// The parameter list of a function's operation and front door.
#define FPK_PARAMS(...) FPK_PP_TAIL(FPK_FOR_EACH(FPK_SIG_ENTRY, __VA_ARGS__))

#define FPK_ARG_ENTRY(n, e) FPK_ARG_##e(n)
#define FPK_ARG_IN_COL(name, type) FPK_ARG_SLOT
#define FPK_ARG_IN_TAB(name, cols) FPK_ARG_SLOT
#define FPK_ARG_IN_SCALAR(name) FPK_ARG_SLOT
#define FPK_ARG_OUT_TAB(name, cols) FPK_ARG_SLOT
#define FPK_ARG_IO_COL(name, type) FPK_PP_EMPTY
#define FPK_ARG_IO_PAT(pattern) FPK_PP_EMPTY
#define FPK_ARG_SLOT(n) , a##n

// The argument list that forwards those parameters unchanged.
#define FPK_ARGS(...) FPK_PP_TAIL(FPK_FOR_EACH(FPK_ARG_ENTRY, __VA_ARGS__))

