/* Resources of the random number library, apart from those of the dialogs that it shares. */
#ifndef SOFTCSP_KVRNDM_RESOURCE_H
#define SOFTCSP_KVRNDM_RESOURCE_H

#include "softcsp/dialogs/resource.h"

#define IDD_RANDOM 301

#define IDS_COLUMN_GENERATOR 301
#define IDS_COLUMN_SOURCE 302
#define IDS_GENERATOR 303
#define IDS_SOURCE 304

#endif
