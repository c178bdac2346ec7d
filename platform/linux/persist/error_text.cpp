// The codes of the persistence library in words, for logs and for people.
#include <moxplat/persist_store.h>

const gchar* cfg_error_text(gint32 code) {
    switch (code) {
        case PER_OK:
            return "no error";
        case PER_NEW_ITEM:
            return "done, the item was not known before";
        case PER_ERROR_PARA_0_INVALID:
            return "argument 0 is not valid";
        case PER_ERROR_PARA_1_INVALID:
            return "argument 1 is not valid";
        case PER_ERROR_PARA_2_INVALID:
            return "argument 2 is not valid";
        case PER_ERROR_PARA_3_INVALID:
            return "argument 3 is not valid";
        case PER_ERROR_PARA_4_INVALID:
            return "argument 4 is not valid";
        case PER_ERROR_PARA_5_INVALID:
            return "argument 5 is not valid";
        case PER_ERROR_PARA_6_INVALID:
            return "argument 6 is not valid";
        case PER_ERROR_PARA_OTHER_INVALID:
            return "an argument is not valid";
        case PER_ERROR_MALLOC_FAIL:
            return "out of memory";
        case PER_ERROR_FILE_INIT_FAIL:
            return "the store's file cannot be set up";
        case PER_ERROR_PARSER_INIT_FAIL:
            return "the store's file was written by a newer version";
        case PER_ERROR_CFG_ITEM_INIT_FAIL:
            return "the store could not carry the request out";
        case PER_ERROR_CFG_ITEM_NOT_INITED:
            return "nothing is stored under this name and mode";
        case PER_ERROR_CFG_INIT_FAIL:
            return "no store is open in this process, or one is open already";
        case PER_ERROR_FILE_OPEN_FAIL:
            return "the store's directory or file cannot be opened or read";
        case PER_ERROR_FILE_LOCK_FAIL:
            return "another process has the store open";
        case PER_ERROR_FILE_WRITE_FAIL:
            return "the store's directory or file cannot be written";
        case PER_ERROR_DATA_INVALID:
            return "the stored data is damaged";
        case PER_ERROR_CFG_INPORT_FAIL:
            return "the configuration could not be imported";
        case PER_ERROR_CLEAR_CFG_FLAG:
            return "the power-off values are forgotten, the reset values could not be";
        default:
            return "unknown persistence error";
    }
}
