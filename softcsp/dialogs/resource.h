/* Resources of the provider's libraries. */
#ifndef SOFTCSP_DIALOGS_RESOURCE_H
#define SOFTCSP_DIALOGS_RESOURCE_H

/* The dialogs of the provider, dialogs/dialogs.rc */
#define IDD_ASK_PASSWORD 101
#define IDD_NEW_PASSWORD 102
#define IDD_CHANGE_PASSWORD 103
#define IDD_CHOOSE_CONTAINER 104
#define IDD_CHOOSE_CARRIER 105

#define IDC_CONTAINER 1001
#define IDC_PASSWORD 1003 /* the present password */
#define IDC_NEW_PASSWORD 1004
#define IDC_CONFIRMATION 1005
#define IDC_REFUSED 1006
#define IDC_SAVE 1007
#define IDC_LIST 1008
#define IDC_NONE 1009 /* shown if the list is empty */

#define IDS_PASSWORDS_DIFFER 101
#define IDS_COLUMN_CONTAINER 102
#define IDS_COLUMN_CARRIER 103
#define IDS_COLUMN_KIND 104
#define IDS_KIND_REGISTRY 105
#define IDS_KIND_REMOVABLE 106

/* The windows of the reader library, libraries/windows.rc */
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
#define IDS_COLUMN_CARRIER_TYPE 207
#define IDS_COLUMN_PLACE 208
#define IDS_TYPE_REGISTRY 209
#define IDS_PLACE_REGISTRY 210
#define IDS_TYPE_DIRECTORY 211
#define IDS_PLACE_DIRECTORY 212
#define IDS_REMOVE_QUESTION 213

/* The window of the random number library, libraries/windows.rc */
#define IDD_RANDOM 301

#define IDS_COLUMN_GENERATOR 301
#define IDS_COLUMN_SOURCE 302
#define IDS_GENERATOR 303
#define IDS_SOURCE 304

/* The names of readers in the support library, version.rc */
#define IDS_READER_REGISTRY 401
#define IDS_READER_DISK 402 /* followed by a space and the carrier's name */

#endif
