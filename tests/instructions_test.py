#!/usr/bin/python3
"""The instructions of the built shared library: none outside the kernels that an i486 lacks (on 64 bits: an x86-64),
and in a kernel none beyond its set; in the client of 32 bits, none that an i486 lacks. What this file does not know
fails."""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from support import built
from support.built import BUILD, output

CLIENT = BUILD / "tools"
BITS = int(built.BITS)

# ---- Which function may use which set. The first row that is found in "file function" counts; file is empty for
# functions that other files see. ----
KERNELS = [
    (r"^resampler_avx512\.cpp |\bvnni::|_vnni\(", "vnni"),
    (r"^\w+_avx512\.cpp |_avx512\(|\bAvx512::", "avx512"),
    (r"^\w+_avx2\.cpp |_avx2\(|\bAvx2::|synchronous_fma\(", "avx2"),
    (r"^\w+_sse2\.cpp |_sse2\(", "sse2"),
    (r"^fft2_3dnow_ext\.cpp ", "3dnow_ext"),
    (r"^\w+_3dnow\.cpp |_3dnow\(", "3dnow"),
    (r"fill_past_caches\(|dot_shuffle\(|dot_mmx_ext\(", "mmx_ext"),
    # the callers of MMX routines end in emms
    (r"^\w+_mmx\.cpp |dot_mmx\(|_mmx\d*\(|lms_mmx_ext\(|lms_any\(|fir3232_high_\w+\(|process2_high\(", "mmx"),
    # behind the test for CPUID, for XSAVE and for the time-stamp counter
    (r"read_processor\(|wider_sets\(|ZVCPUInfo_Init$", "identification"),
    (r"ZVCPUInfo_GetTimer$", "586"),
]
SSE2 = {"586", "686", "mmx", "mmx_ext", "sse", "sse2"}
MAY_USE = {
    "586": {"586"},
    "identification": {"586", "xsave"},
    "mmx": {"mmx"},
    "mmx_ext": {"mmx", "mmx_ext"},
    "3dnow": {"mmx", "3dnow"},
    "3dnow_ext": {"mmx", "mmx_ext", "3dnow", "3dnow_ext"},
    "sse2": SSE2,
    "avx2": SSE2 | {"avx2"},
    "avx512": SSE2 | {"avx2", "avx512"},
    "vnni": SSE2 | {"avx2", "avx512", "vnni"},
}
EVERYWHERE = {32: {"486"}, 64: {"486", "x64"} | SSE2}

# ---- Which set an instruction belongs to: expressions for mnemonics, by the registers that it names. ----
CONDITION = "(a|ae|b|be|e|g|ge|l|le|ne|no|np|ns|o|p|s)"
INTEGER = f"""adc add and bsf bsr bswap bt[crs]? call cbw cdq cld cmp cmpxchg cwde? dec i?div i?mul inc j{CONDITION} jmp
    lea leave movs? mov[sz]x neg nop not or popf? pushf? rc[lr] ret ro[lr] sahf sar sbb set{CONDITION} sh[lr]d? std
    stos sub test ud2 xadd xchg xor
    tzcnt pause"""  # bsf and nop with a prefix that older processors pass over; bsf differs for 0 alone
X87 = """f2xm1 fabs faddp? fchs fcom(p|pp)? fdivr?p? fiadd ficomp? fidivr? fild fimul fistp? fisubr?
    fld(1|cw|l2e|l2t|lg2|ln2|pi|z)? fmulp? fnst[cs]w fpatan fprem1? frndint fscale fsqrt fstp? fsubr?p? ftst
    fucom(p|pp)? fxam fxch fyl2x"""
MMX = """mov[dq] pack(ssdw|sswb|uswb) padd(b|w|d|s[bw]|us[bw]) pandn? pcmp(eq|gt)[bwd] pmaddwd pmul[hl]w por
    ps[lr]l[wdq] psra[wd] psub(b|w|d|s[bw]|us[bw]) punpck[hl](bw|wd|dq) pxor"""
MMX_EXT = "pavg[bw] pextrw pinsrw p(max|min)(sw|ub) pmovmskb pmulhuw psadbw"
SSE = """(add|sub|mul|div|min|max|sqrt|rcp|rsqrt)[ps]s (andn?|x?or)ps cmp\\w+[ps]s u?comiss cvtsi2ss cvtt?ss2si
    mov([au]|hl?|lh?|msk)ps movss shufps unpck[hl]ps"""
SSE2_NAMES = """(add|sub|mul|div|min|max|sqrt)[ps]d (andn?|x?or)pd cmp\\w+[ps]d u?comisd cvtsi2sd cvtt?sd2si
    cvt(dq2p[sd]|pd2ps|ps2pd|sd2ss|ss2sd) cvtt?p[sd]2dq mov([au]|h|l|msk)pd movsd movdq[au] movdq2q movq2dq
    shufpd unpck[hl]pd paddq psubq pmuludq pshuf(d|hw|lw) ps[lr]ldq punpck[hl]qdq"""
AVX2 = """addsubp[sd] blendv?p[sd] broadcast(ss|sd|f128|i128) extract[fi]128 extractps fn?m(add|sub)(132|213|231)[ps][sd]
    p?gather[dq](d|q|ps|pd) haddp[sd] insert[fi]128 movddup packusdw palignr pblend(d|w|vb) pbroadcast[bwdq] pcmp(eq|gt)q perm(d|q|pd|ps)
    perm2[fi]128 pextr[bdq] phadd[wd] pinsr[bdq] p(max|min)(u[wd]|s[bd])
    pmov[sz]x(bw|bd|bq|wd|wq|dq) pmuldq pmulld ps([lr]l|ra)v[dq] pshufb ptest rounds[sd] testp[sd] zeroupper"""
AVX512 = """align[dq] p?blendm(b|w|d|q|ps|pd) (broadcast|extract|insert)[fi](32x[248]|64x[24])
    movdqa(32|64) movdqu(8|16|32|64) (p(andn?|x?or))[dq] pcmp\\w*[bwdq] permw perm[it]2(w|d|q|ps|pd) p(max|min)[su]q
    pmov(dw|qd|sqd|sdw|d2m|m2d) pmullq psraq pternlog[dq] ptestn?m[bwdq] rangep[sd] rndscales[sd] shuf[fi](32x4|64x2)"""
VNNI = "pdpwssds? pdpbusds?"


def pattern(names, prefix=""):
    return re.compile(prefix + "(" + "|".join(names.split()) + ")").fullmatch


# kind of instruction -> [(set, mnemonics)]
MNEMONICS = {kind: [(name, pattern(*names)) for name, *names in rows] for kind, rows in {
    "plain": [
        ("486", INTEGER), ("486", X87), ("586", "cmpxchg8b cpuid rdtsc"),
        ("686", f"cmov{CONDITION} endbr(32|64) fcmovn?(b|be|e|u) fu?comip?"), ("x64", "cdqe cqo movabs movsxd"),
        ("xsave", "xgetbv"), ("mmx", "emms"), ("mmx_ext", "sfence"), ("3dnow", "femms"), ("avx2", "fisttp popcnt"),
        ("sse", "cvtt?ss2si"), ("sse2", "cvtt?sd2si"),
    ],
    "mm": [
        ("mmx", MMX), ("mmx_ext", MMX_EXT + " pshufw movntq"),
        ("3dnow", "pf(acc|add|cmp(eq|ge|gt)|max|min|mul|rcp(it[12])?|rsq(rt|it1)|subr?) pf2id pi2fd pavgusb pmulhrw"),
        ("3dnow_ext", "pfp?nacc pf2iw pi2fw pswapd"), ("sse2", SSE2_NAMES),
    ],
    "xmm": [("sse", SSE), ("sse2", f"{SSE2_NAMES} {MMX} {MMX_EXT}")],
    "vex": [("avx2", f"{SSE} {SSE2_NAMES} {MMX} {MMX_EXT} {AVX2}", "v")],
    "evex": [("vnni", VNNI, "v"), ("avx512", f"{SSE} {SSE2_NAMES} {MMX} {MMX_EXT} {AVX2} {AVX512}", "v")],
    "mask": [("avx512", "k(add|andn?|mov|not|or|ortest|shift[lr]|test|unpck(bw|wd|dq)|xn?or)[bwdq]?")],
}.items()}
PREFIXES = {"rep", "repz", "repnz", "lock", "{evex}", "data16", "addr32", "notrack", "cs", "ds", "es", "fs", "gs", "ss"}


def needed(code, text):
    """The set of one instruction, from its bytes and its text; None if it is not known."""
    mnemonic, *operands = [word for word in text.split() if word not in PREFIXES]
    operands = " ".join(operands)
    if mnemonic == "nop" and operands:
        return "686"  # the long forms
    if code[0] == "62":
        kind = "evex"
    elif code[0] in ("c4", "c5") and mnemonic.startswith("v"):
        kind = "vex"
    else:
        kind = ("xmm" if "xmm" in operands else "mm" if re.search(r"\bmm[0-7]", operands) else
                "mask" if mnemonic.startswith("k") else "plain")
    return next((name for name, match in MNEMONICS[kind] if match(mnemonic)), None)


def functions(library):
    """("file function", [(bytes, text)]) of each function."""
    files, file = {}, ""
    for line in output("readelf", "-sW", library).split("'.symtab'")[1].splitlines():
        _, value, _, kind, binding, _, section, *name = line.split(None, 7) if len(line.split()) > 6 else [""] * 7
        if kind == "FILE":
            file = name[0] if name else ""
        elif binding == "LOCAL" and section.isdigit():
            files[int(value, 16)] = file
    name, body = "", []
    for line in output("objdump", "-dw", "-M", "intel", "--demangle", library).splitlines():
        head = re.match(r"([0-9a-f]+) <(.*)>:$", line)
        if head:
            yield name, body
            name, body = f"{files.get(int(head[1], 16), '')} {head[2]}", []
        elif line.count("\t") == 2:
            code, text = line.split("\t")[1:]
            body.append((code.split(), re.sub(r" *[#<].*", "", text)))
    yield name, body


def faults(library, bits):
    """What no processor may meet, as lines."""
    found, kernels = [], set()
    for name, body in functions(library):
        kernel = next((kernel for where, kernel in KERNELS if re.search(where, name)), None)
        allowed = EVERYWHERE[bits] | MAY_USE.get(kernel, set())
        for code, text in body:
            wanted = needed(code, text)
            if wanted not in allowed:
                found.append(f"{name.strip()}: {text} ({wanted or 'unknown'})")
            elif wanted not in EVERYWHERE[bits]:
                kernels.add(kernel)
        # Vectors on the stack: on i386 a caller aligns it to 4 bytes alone.
        texts = [text for _, text in body]
        if bits == 32 and any(re.search(r"mov(dqa|ap[sd])\w* .*\[e[sb]p", text) for text in texts):
            if not any(re.match(r"and +esp,0xffffff[cef]0", text) for text in texts):
                found.append(f"{name.strip()}: vectors on a stack that it does not align")
    return found, kernels


class Instructions(unittest.TestCase):
    @unittest.skipIf(os.environ.get("ZOVEK_SANITIZE"), "sanitizers bring code of their own")
    @unittest.skipIf(os.environ.get("ZOVEK_LTO") == "ON", "optimised as linked, functions have no file that tells their set")
    def test_none_beyond_the_processor_that_a_function_is_for(self):
        found, kernels = faults(BUILD / "libzovek.so.1", BITS)
        self.assertFalse(found, "\n" + "\n".join(found[:30]))
        self.assertLessEqual({"3dnow", "3dnow_ext", "avx2", "avx512", "vnni"}, kernels)
        if BITS == 32:
            self.assertLessEqual({"mmx", "mmx_ext", "sse2", "identification", "586"}, kernels)

    @unittest.skipUnless(BITS == 32 and CLIENT.is_dir(), "the client of 32 bits was not built")
    def test_none_in_the_client_beyond_the_486(self):
        objects = sorted(CLIENT.rglob("*.o"))  # what is linked with them is other people's
        self.assertTrue(objects)
        found = [f"{path.name} {fault}" for path in objects for fault in faults(path, BITS)[0]]
        self.assertFalse(found, "\n" + "\n".join(found[:30]))

    def test_sees_what_is_wrong(self):
        rows = [  # function, instruction, what is said of it on 32 bits
            ("base", "fsqrt; bswap eax; lock cmpxchg [eax], ebx; rep stosd; nop; repz ret", []),
            ("base", "cmovne eax, ebx", ["686"]),
            ("base", "endbr32; nop dword ptr [eax]", ["686", "686"]),
            ("base", "fcomip st, st(1)", ["686"]),
            ("base", "rdtsc; cpuid; cmpxchg8b [eax]", ["586", "586", "586"]),
            ("base", "paddd mm0, mm1; paddd xmm0, xmm1; addps xmm0, xmm1", ["mmx", "sse2", "sse"]),
            ("base", "popcnt eax, ebx; movbe eax, [ebx]; hlt", ["avx2", "unknown", "unknown"]),
            ("_ZN2zv5k_mmxEv", "emms; pshufw mm0, mm1, 3; cmovne eax, ebx", ["mmx_ext", "686"]),
            ("_ZN2zv7k_3dnowEv", "pfadd mm0, mm1; pswapd mm0, mm1; sfence", ["3dnow_ext", "mmx_ext"]),
            ("_ZN2zv6k_sse2Ev", "paddd xmm0, xmm1; haddps xmm0, xmm1; vpaddd xmm0, xmm0, xmm1", ["unknown", "avx2"]),
            ("_ZN2zv6k_avx2Ev", "vpaddd ymm0, ymm0, ymm1; vpaddd zmm0, zmm0, zmm1; vpaddd ymm0, ymm0, [eax]{1to8}",
             ["avx512", "avx512"]),
            ("_ZN2zv8k_avx512Ev", "vpaddd zmm0{k1}, zmm0, zmm1; vpdpwssd zmm0, zmm0, zmm1; vpermb zmm0, zmm0, zmm1",
             ["vnni", "unknown"]),
            ("_ZN2zv6k_vnniEv", "and esp, -64; vpdpwssd zmm0, zmm0, zmm1; vmovdqa64 [esp], zmm0", []),
            ("_ZN2zv7lateral6k_sse2Ev", "movaps [esp], xmm0", ["vectors on a stack that it does not align"]),
        ]
        with tempfile.TemporaryDirectory() as folder:
            source, library = pathlib.Path(folder, "wrong.s"), pathlib.Path(folder, "wrong.so")
            lines = [".intel_syntax noprefix"]
            for number, (name, text, _) in enumerate(rows):
                label = name if name.startswith("_Z") else f"{name}{number}"
                lines += [f".globl {label}", f".type {label}, @function", f"{label}:", *text.split("; ")]
            source.write_text("\n".join(lines) + "\n")
            subprocess.run(["cc", "-m32", "-shared", "-nostdlib", source, "-o", library], check=True)
            said = [re.search(r"\((\w+)\)$|: (vectors.*)", line) for line in faults(library, 32)[0]]
            self.assertEqual([match[1] or match[2] for match in said], [word for _, _, words in rows for word in words])


if __name__ == "__main__":
    unittest.main()
