// The introspection entries: the catalogue as the framework reads it.
#include <cstring>
#include <iterator>

#include "../platform/QELCatalogueTypes.h"
#include "FPKCatalogueMacros.h"
#include "FPKQELInterfaces.h"

namespace {

// Descriptor initialisers of the catalogue entries.
#define FPK_DESC_ENTRY(n, e) FPK_DESC_##e,
#define FPK_DESC_DBL QEL_CS_DOUBLE, QEL_SQL_DOUBLE, 0, 0
#define FPK_DESC_INT QEL_CS_INTEGER, QEL_SQL_INTEGER, 0, 0
#define FPK_DESC_STR(n) QEL_CS_STRING, QEL_SQL_STRING, 0, n
#define FPK_DESC_COLTYPE(type) FPK_DESC_##type
#define FPK_DESC_COL(io, name, type) {io, QEL_DT_COLUMN, 0, FPK_DESC_COLTYPE(type), 0, 0, 0, 0, name}
#define FPK_DESC_IN_COL(name, type) FPK_DESC_COL("IN", name, type)
#define FPK_DESC_IO_COL(name, type) FPK_DESC_COL("I/O", name, type)
#define FPK_DESC_IN_TAB(name, cols) {"IN", QEL_DT_TABLE, 0, 0, 0, 0, cols, 0, 0, 0, 0, name}
#define FPK_DESC_OUT_TAB(name, cols) {"OUT", QEL_DT_TABLE, 0, 0, 0, 0, cols, 0, 0, 0, 0, name}
#define FPK_DESC_IO_PAT(pattern) {"I/O", QEL_DT_PATTERN, 0, 0, 0, 0, 0, 0, 0, 0, 0, pattern}
#define FPK_DESC_IN_SCALAR(name) {"IN", QEL_DT_SCALAR, 0, 0, QEL_SQL_INTEGER, 0, 0, 0, 0, 0, 0, name}

#define FPK_FUNCTION(number, NAME, door, category, ...) \
    const AppFunc_ParamDesc ParamDesc_##number[] = {FPK_FOR_EACH(FPK_DESC_ENTRY, __VA_ARGS__)};
#include "FPKCatalogue.def"
#undef FPK_FUNCTION

void copyParam(const AppFunc_ParamDesc* table, uint16_t count, uint16_t idx, char** ppIOType, int16_t* pDatatype,
               int16_t* pSubDatatype, int16_t* pCsDatatype, int16_t* pSqlDatatype, int16_t* pLength, int16_t* pDim,
               int32_t* pOffsetServer, int32_t* pOffsetAsciiClient, int32_t* pOffsetUnicodeClient, uint8_t* pFrac,
               char** ppParamName) {
    if (idx < 1 || idx > count) {
        *ppIOType = nullptr;
        *pDatatype = *pSubDatatype = *pCsDatatype = *pSqlDatatype = *pLength = *pDim = 0;
        *pOffsetServer = *pOffsetAsciiClient = *pOffsetUnicodeClient = 0;
        *pFrac = 0;
        *ppParamName = nullptr;
        return;
    }
    const AppFunc_ParamDesc& d = table[idx - 1];
    *ppIOType = const_cast<char*>(d.pIOType);
    *pDatatype = d.Datatype;
    *pSubDatatype = d.SubDatatype;
    *pCsDatatype = d.CsDatatype;
    *pSqlDatatype = d.SqlDatatype;
    *pLength = d.Length;
    *pDim = d.Dim;
    *pOffsetServer = d.OffsetServer;
    *pOffsetAsciiClient = d.OffsetAsciiClient;
    *pOffsetUnicodeClient = d.OffsetUnicodeClient;
    *pFrac = d.Frac;
    *ppParamName = const_cast<char*>(d.pParamName);
}

#define FPK_FUNCTION(number, NAME, door, category, ...)                                                         \
    void Introspect_AppFunc##number##_Param(uint16_t i, char** a, int16_t* b, int16_t* c, int16_t* d, int16_t* e, \
                                            int16_t* f, int16_t* g, int32_t* h, int32_t* j, int32_t* k,          \
                                            uint8_t* l, char** m) {                                             \
        copyParam(ParamDesc_##number, std::size(ParamDesc_##number), i, a, b, c, d, e, f, g, h, j, k, l, m);      \
    }
#include "FPKCatalogue.def"
#undef FPK_FUNCTION

// No function has properties, so the host never calls this.
void introspectNoProperty(uint16_t, char** ppName, char** ppValue) {
    *ppName = nullptr;
    *ppValue = nullptr;
}

const AppFunc_Desc AF_Desc[] = {
#define FPK_FUNCTION(number, NAME, door, category, ...)                                                   \
    {number,   #NAME, static_cast<uint16_t>(std::size(ParamDesc_##number)), &Introspect_AppFunc##number##_Param, \
     LFunc,    category, 0, &introspectNoProperty, ""},
#include "FPKCatalogue.def"
#undef FPK_FUNCTION
};

constexpr uint16_t kFunctionCount = static_cast<uint16_t>(std::size(AF_Desc));
static_assert(kFunctionCount == 54, "the catalogue has 54 functions");

}  // namespace

#define FPK_EXPORT extern "C" __attribute__((visibility("default")))

FPK_EXPORT void IntrospectQEL(QELID& clsid, QELID& iid) {
    std::memcpy(&clsid, &FPK_CLSID, sizeof(QELID));
    std::memcpy(&iid, &FPK_IID, sizeof(QELID));
}

FPK_EXPORT void IntrospectQELType(bool& isInternal) { isInternal = true; }

FPK_EXPORT void IntrospectAppFunc(AccessType accessType, char** ppFunction, uint16_t num, uint16_t* pIdx,
                                  uint16_t* pParamCount, Introspect_AppFunc_Param* ppIntrospectParam,
                                  AppFunc_Type* pType, AppFunc_Category* pCategory, uint16_t* pPropCount,
                                  Introspect_AppFunc_Prop* ppIntrospectProp, char** ppBusinessCat) {
    *ppIntrospectParam = nullptr;
    const AppFunc_Desc* found = nullptr;
    if (accessType == get_by_index) {
        if (num < 1 || num > kFunctionCount) return;
        found = &AF_Desc[num - 1];
        *ppFunction = const_cast<char*>(found->pFuncName);
    } else if (accessType == get_by_name) {
        if (ppFunction == nullptr || *ppFunction == nullptr) return;
        for (const AppFunc_Desc& d : AF_Desc) {
            if (std::strcmp(d.pFuncName, *ppFunction) == 0) {
                found = &d;
                break;
            }
        }
        if (found == nullptr) return;
    } else {
        return;
    }
    *pIdx = found->FuncIdx;
    *pParamCount = found->ParamCount;
    *ppIntrospectParam = found->pIntrospectParam;
    *pType = found->Type;
    *pCategory = found->Category;
    *pPropCount = found->PropCount;
    *ppIntrospectProp = found->pIntrospectProp;
    *ppBusinessCat = const_cast<char*>(found->pBusinessCat);
}
