/* Resources of the support library: what readers are called. */
#ifndef SOFTCSP_KVSUPRT_RESOURCE_H
#define SOFTCSP_KVSUPRT_RESOURCE_H

#define IDS_READER_REGISTRY 101
#define IDS_READER_DISK 102 /* followed by a space and the carrier's name */

#endif
