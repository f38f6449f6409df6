/* Resources of the reader library, apart from those of the dialogs that it shares. */
#ifndef SOFTCSP_KVRDR_RESOURCE_H
#define SOFTCSP_KVRDR_RESOURCE_H

#include "softcsp/dialogs/resource.h"

#define IDD_READERS 201
#define IDD_NEW_CARRIER 202
#define IDD_CARRIER_TYPES 203

#define IDC_ADD 1201
#define IDC_REMOVE 1202
#define IDC_INSERT 1203
#define IDC_EJECT 1204
#define IDC_NAME 1205

#define IDS_COLUMN_STATE 201
#define IDS_PRESENT 202
#define IDS_ABSENT 203
#define IDS_NAME_TAKEN 204
#define IDS_NAME_WRONG 205
#define IDS_NOT_SAVED 206
#define IDS_COLUMN_TYPE 207
#define IDS_COLUMN_PLACE 208
#define IDS_TYPE_REGISTRY 209
#define IDS_PLACE_REGISTRY 210
#define IDS_TYPE_DIRECTORY 211
#define IDS_PLACE_DIRECTORY 212

#endif
