// Enumerations shared by the records, the library classes and the web-API module.
#pragma once

// LUN type: a combination of property bits.
enum _tag_iscsi_lun_type {
    ISCSI_LUN_TYPE_NONE = 0,
    ISCSI_LUN_TYPE_BLOCK = 0x001,
    ISCSI_LUN_TYPE_FILE = 0x003,
    ISCSI_LUN_TYPE_THIN = 0x007,
    ISCSI_LUN_TYPE_ADV = 0x00F,
    ISCSI_LUN_TYPE_SINK = 0x01F,
    ISCSI_LUN_TYPE_BKP_THIN = 0x047,
    ISCSI_LUN_TYPE_BKP_ADV = 0x04F,
    ISCSI_LUN_TYPE_CINDER = 0x08F,
    ISCSI_LUN_TYPE_CINDER_BLUN = 0x187,
    ISCSI_LUN_TYPE_CINDER_BLUN_THICK = 0x183,
    ISCSI_LUN_TYPE_BLUN = 0x107,
    ISCSI_LUN_TYPE_BLUN_SINK = 0x117,
    ISCSI_LUN_TYPE_BLUN_THICK = 0x103,
    ISCSI_LUN_TYPE_BLUN_THICK_SINK = 0x113,
    ISCSI_LUN_TYPE_BKP_BLUN = 0x147,
    ISCSI_LUN_TYPE_BKP_BLUN_THICK = 0x143,
    ISCSI_LUN_TYPE_VDISK_ADV = 0x02F,
    ISCSI_LUN_TYPE_VDISK_BLUN = 0x127,
    ISCSI_LUN_TYPE_VDISK_BLUN_SINK = 0x137,
    ISCSI_LUN_TYPE_VDISK_BLUN_THICK = 0x123,
    ISCSI_LUN_TYPE_VDISK_BLUN_COW = 0x327,
    ISCSI_LUN_TYPE_VDISK_BLUN_C2 = 0x727,
};

// The property bits of a LUN type.
enum {
    ISCSI_LUN_BIT_BASE = 0x001,
    ISCSI_LUN_BIT_FILE = 0x002,
    ISCSI_LUN_BIT_THIN = 0x004,
    ISCSI_LUN_BIT_ADV = 0x008,
    ISCSI_LUN_BIT_SINK = 0x010,
    ISCSI_LUN_BIT_VDISK = 0x020,
    ISCSI_LUN_BIT_BKP = 0x040,
    ISCSI_LUN_BIT_CINDER = 0x080,
    ISCSI_LUN_BIT_BLUN = 0x100,
    ISCSI_LUN_BIT_COW = 0x200,
    ISCSI_LUN_BIT_C2 = 0x400,
};

// Replication task type: a combination of the bits below.
enum _tag_iscsi_rep_type {
    ISCSI_REP_TYPE_NONE = 0,
    ISCSI_REP_BIT_SRC = 1,
    ISCSI_REP_BIT_DST = 2,
    ISCSI_REP_BIT_ADV = 4,
    ISCSI_REP_BIT_BLUN = 8,
    ISCSI_REP_BIT_VDISK = 16,
    ISCSI_REP_BIT_THICK = 32,
    ISCSI_REP_BIT_LOCAL = 64,
    ISCSI_REP_TYPE_ADV_SRC = 5,
    ISCSI_REP_TYPE_ADV_DST = 6,
    ISCSI_REP_TYPE_BLUN_SRC = 9,
    ISCSI_REP_TYPE_BLUN_DST = 10,
    ISCSI_REP_TYPE_VDISK_BLUN_SRC = 25,
    ISCSI_REP_TYPE_VDISK_BLUN_DST = 26,
    ISCSI_REP_TYPE_BLUN_THICK_SRC = 41,
    ISCSI_REP_TYPE_BLUN_THICK_DST = 42,
    ISCSI_REP_TYPE_LOCAL_BLUN_SRC = 73,
    ISCSI_REP_TYPE_LOCAL_BLUN_DST = 74,
    ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_SRC = 89,
    ISCSI_REP_TYPE_LOCAL_VDISK_BLUN_DST = 90,
    ISCSI_REP_TYPE_LOCAL_BLUN_THICK_SRC = 105,
    ISCSI_REP_TYPE_LOCAL_BLUN_THICK_DST = 106,
};

namespace ISCSI {

// Virtual LUN type. What each type means is documented with the storage library.
enum _tag_iscsi_vlun_type {
    ISCSI_VLUN_TYPE_NONE = 0,
    ISCSI_VLUN_TYPE_1 = 1,
    ISCSI_VLUN_TYPE_2 = 2,
    ISCSI_VLUN_TYPE_3 = 3,
};

// The text of a LUN type id, as records print it and requests name it.
struct ISCSILUNTypeName {
    const char* text;
    _tag_iscsi_lun_type id;
};

// The 22 LUN types, in the order in which a type text given by a request is compared with them.
extern const ISCSILUNTypeName ISCSILUNTypeNames[22];

// The text of a LUN type id ("THIN"), or "UNKNOWN" for a value that is none of the 22.
const char* ISCSILUNTypeText(_tag_iscsi_lun_type id);

} // namespace ISCSI
