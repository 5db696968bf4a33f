// Processors by vendor and signature, and the names of the classes. Both tables are searched in order.
#pragma once
#include <cstdint>

namespace zv::cpu {
constexpr char amd[] = "AuthenticAMD";
constexpr char cyrix[] = "CyrixInstead";
constexpr char centaur[] = "CentaurHauls";
constexpr char intel[] = "GenuineIntel";
constexpr char rise[] = "RiseRiseRise";
constexpr char nexgen[] = "NexGenDriven";
constexpr char transmeta[] = "GenuineTMx86";
constexpr char umc[] = "UMC UMC UMC ";

// A row applies to its vendor where signature & mask == value. Mask 0 catches what the rows before left.
struct Class {
    const char* vendor;
    uint32_t mask, value, code;
};

// clang-format off
constexpr Class classes[] = {
    {amd,       0x00000F00, 0x00000400, 0x20004000},
    {amd,       0x00000FF0, 0x00000500, 0x20005001},
    {amd,       0x00000FF0, 0x00000510, 0x20005001},
    {amd,       0x00000FF0, 0x00000520, 0x20005001},
    {amd,       0x00000FF0, 0x00000530, 0x20005001},
    {amd,       0x00000FF0, 0x00000560, 0x20006000},
    {amd,       0x00000FF0, 0x00000570, 0x20006000},
    {amd,       0x00000FF0, 0x00000580, 0x20006001},
    {amd,       0x00000FF0, 0x00000590, 0x20006002},
    {amd,       0x00000F00, 0x00000600, 0x20007000},
    {amd,       0x0FF00F00, 0x00000F00, 0x20008000},
    {amd,       0x00000000, 0x00000000, 0x20000000},
    {cyrix,     0x00000FF0, 0x00000440, 0x30004002},
    {cyrix,     0x00000FF0, 0x00000520, 0x30005000},
    {cyrix,     0x00000FF0, 0x00000540, 0x30005001},
    {cyrix,     0x00000FF0, 0x00000600, 0x30006001},
    {cyrix,     0x00000000, 0x00000000, 0x30000000},
    {centaur,   0x00000FF0, 0x00000540, 0x40005000},
    {centaur,   0x00000FF0, 0x00000580, 0x40005001},
    {centaur,   0x00000FF0, 0x00000590, 0x40005002},
    {centaur,   0x00000000, 0x00000000, 0x40000000},
    {intel,     0x00000F00, 0x00000400, 0x10004000},
    {intel,     0x00000F00, 0x00000500, 0x10005000},
    {intel,     0x00000FF0, 0x00000610, 0x10006000},
    {intel,     0x00000FF0, 0x00000630, 0x10006001},
    {intel,     0x00000FF0, 0x00000650, 0x10006001},
    {intel,     0x00000FF0, 0x00000660, 0x10006002},
    {intel,     0x00000FF0, 0x00000670, 0x10006003},
    {intel,     0x00000FF0, 0x00000680, 0x10006003},
    {intel,     0x00000FF0, 0x00000690, 0x10006004},
    {intel,     0x00000FF0, 0x000006A0, 0x10006003},
    {intel,     0x00000FF0, 0x000006B0, 0x10006003},
    {intel,     0x0FF00F00, 0x00000F00, 0x10006005},
    {intel,     0x00000000, 0x00000000, 0x10000000},
    {transmeta, 0x00000F00, 0x00000500, 0x80005000},
    {transmeta, 0x00000000, 0x00000000, 0x80000000},
    {nexgen,    0x00000000, 0x00000000, 0x60004000},
    {rise,      0x00000FF0, 0x00000500, 0x50005000},
    {rise,      0x00000FF0, 0x00000520, 0x50005000},
    {rise,      0x00000000, 0x00000000, 0x50000000},
    {umc,       0x00000000, 0x00000000, 0x70004000},
};

// Names of classes, for processors that don't tell their own. Not every class has one.
struct Name {
    uint32_t code;
    const char* name;
};

constexpr Name names[] = {
    {0x00000000, "Unknown"},
    {0x00030000, "Generic 386"},
    {0x00040000, "Generic 486"},
    {0x00050000, "Generic 586"},
    {0x00060000, "Generic 686"},
    {0x10000000, "Intel CPU"},
    {0x10003000, "Intel 386"},
    {0x10004000, "Intel 486"},
    {0x10005000, "Intel Pentium"},
    {0x10006000, "Intel PentiumPro"},
    {0x10006001, "Intel PentiumII"},
    {0x10006002, "Intel Celeron"},
    {0x10006003, "Intel PentiumIII"},
    {0x20000000, "AMD CPU"},
    {0x20003000, "AMD 386"},
    {0x20004000, "AMD 486"},
    {0x20005000, "AMD 5x86"},
    {0x20005001, "AMD K5"},
    {0x30000000, "Cyrix CPU"},
    {0x30004000, "Cyrix 486"},
    {0x30004001, "Cyrix 5x86"},
    {0x30005000, "Cyrix 6x86"},
    {0x30006001, "Cyrix 6x86-MX"},
    {0x30005001, "Cyrix 6x86-GXm"},
    {0x30004002, "Cyrix MediaGX"},
    {0x40000000, "Centaur/IDT CPU"},
    {0x40005000, "Centaur/IDT C6"},
    {0x40005001, "Centaur/IDT C2"},
    {0x40005002, "Centaur/IDT C3"},
    {0x50000000, "Rise CPU"},
    {0x50005000, "Rise mP6"},
    {0x60000000, "NexGen CPU"},
    {0x60004000, "Nexen 5x86"},
    {0x70000000, "UMC CPU"},
    {0x70004000, "UMC 486"},
};
// clang-format on
static_assert(sizeof classes / sizeof *classes == 41 && sizeof names / sizeof *names == 35);
} // namespace zv::cpu
