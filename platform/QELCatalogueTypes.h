// Types of the catalogue that a plug-in serves through its introspection
// entries (IntrospectQEL, IntrospectQELType, IntrospectAppFunc).
#pragma once

#include <cstdint>

#include "QELBase.h"

enum AppFunc_Type : int32_t { LFunc = 1, Pop = 2, Proc = 4 };
enum AppFunc_Category : int32_t { cat_empty = 0, var_none = 1, var_names = 2, var_columns = 4 };
enum AccessType : int32_t { get_by_name = 0, get_by_index = 1 };

// Datatype codes of a parameter entry.
enum : int16_t {
    QEL_DT_COLUMN = 224,   // a column of a table
    QEL_DT_TABLE = 225,    // a whole table
    QEL_DT_PATTERN = 226,  // the column-type pattern of the table before it
    QEL_DT_SCALAR = 22,    // a scalar
};
// Column type codes (CsDatatype).
enum : int16_t { QEL_CS_DOUBLE = 1100, QEL_CS_INTEGER = 1073, QEL_CS_STRING = 1083 };
// SQL type codes (SqlDatatype).
enum : int16_t { QEL_SQL_DOUBLE = 2007, QEL_SQL_INTEGER = 2003, QEL_SQL_STRING = 2009 };

using Introspect_AppFunc_Param = void (*)(uint16_t ParamIdx, char** ppIOType, int16_t* pDatatype,
                                          int16_t* pSubDatatype, int16_t* pCsDatatype,
                                          int16_t* pSqlDatatype, int16_t* pLength, int16_t* pDim,
                                          int32_t* pOffsetServer, int32_t* pOffsetAsciiClient,
                                          int32_t* pOffsetUnicodeClient, uint8_t* pFrac,
                                          char** ppParamName);
using Introspect_AppFunc_Prop = void (*)(uint16_t PropIdx, char** ppName, char** ppValue);

struct AppFunc_Desc {
    uint16_t FuncIdx;
    const char* pFuncName;
    uint16_t ParamCount;
    Introspect_AppFunc_Param pIntrospectParam;
    AppFunc_Type Type;
    AppFunc_Category Category;
    uint16_t PropCount;
    Introspect_AppFunc_Prop pIntrospectProp;
    const char* pBusinessCat;
};

struct AppFunc_ParamDesc {
    const char* pIOType;
    int16_t Datatype;
    int16_t SubDatatype;
    int16_t CsDatatype;
    int16_t SqlDatatype;
    int16_t Length;
    int16_t Dim;
    int32_t OffsetServer;
    int32_t OffsetAsciiClient;
    int32_t OffsetUnicodeClient;
    uint8_t Frac;
    const char* pParamName;
};

using IntrospectQEL_Fn = void (*)(QELID& clsid, QELID& iid);
using IntrospectQELType_Fn = void (*)(bool& isInternal);
using IntrospectAppFunc_Fn = void (*)(AccessType accessType, char** ppFunction, uint16_t num,
                                      uint16_t* pIdx, uint16_t* pParamCount,
                                      Introspect_AppFunc_Param* ppIntrospectParam,
                                      AppFunc_Type* pType, AppFunc_Category* pCategory,
                                      uint16_t* pPropCount,
                                      Introspect_AppFunc_Prop* ppIntrospectProp,
                                      char** ppBusinessCat);
