/* Resources of the provider's dialogs. The reader and random number libraries number theirs from 201 and 301. */
#ifndef SOFTCSP_DIALOGS_RESOURCE_H
#define SOFTCSP_DIALOGS_RESOURCE_H

#define IDD_ASK_PASSWORD 101
#define IDD_NEW_PASSWORD 102
#define IDD_CHANGE_PASSWORD 103
#define IDD_CHOOSE_CONTAINER 104
#define IDD_CHOOSE_CARRIER 105

#define IDC_CONTAINER 1001
#define IDC_PASSWORD_LABEL 1002
#define IDC_PASSWORD 1003 /* the one there is */
#define IDC_NEW_PASSWORD 1004
#define IDC_CONFIRMATION 1005
#define IDC_REFUSED 1006
#define IDC_SAVE 1007
#define IDC_LIST 1008
#define IDC_NONE 1009 /* says that the list is empty */

#define IDS_PASSWORDS_DIFFER 101
#define IDS_COLUMN_CONTAINER 102
#define IDS_COLUMN_CARRIER 103
#define IDS_COLUMN_KIND 104
#define IDS_KIND_REGISTRY 105
#define IDS_KIND_REMOVABLE 106

#endif
