/* A C program of somebody else, built against what is installed. Ends with 0 if the library keeps what its headers
 * promise. */
#include <mova/mova.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    mova_handset* handset = NULL;
    char version[64] = "";
    int failures = 0;
    failures += mova_create(NULL, NULL, &handset) != MOVA_SUCCESS;
    failures += mova_get_cmp_version(handset, 1, version, sizeof version, NULL) != MOVA_SUCCESS;
    failures += strstr(version, "MovaCmdSvr") == NULL;
    failures += mova_put_comm_port_id(handset, 7) != MOVA_SUCCESS;
    failures += mova_init_cmd_manager(handset, 0) != MOVA_NOT_OPEN;
    failures += strcmp(mova_code_name(MOVA_NOT_OPEN), "NotOpen") != 0;
    mova_destroy(handset);
    printf(failures == 0 ? "all as promised\n" : "FAILED: %d\n", failures);
    return failures == 0 ? 0 : 1;
}
