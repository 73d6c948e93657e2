#pragma once

#include <string>

namespace DK::Details {

/// One kernel: writes a unit, of bytesOfUnit bytes, of every row that falls to the thread's row of blocks. store is the
/// instruction's vector and words its registers, of those that hold the unit.
inline std::string FillKernelText(const std::string& name, const std::string& bytesOfUnit, const std::string& store,
                                  const std::string& words) {
    return ".visible .entry " + name + R"((
    .param .u64 data,
    .param .u64 rowBytes,
    .param .u32 units,
    .param .u32 rows,
    .param .u32 word0,
    .param .u32 word1,
    .param .u32 word2,
    .param .u32 word3
)
{
    .reg .pred %p<2>;
    .reg .b32 %r<12>;
    .reg .b64 %rd<8>;
    mov.u32 %r1, %ctaid.x;
    mov.u32 %r2, %ntid.x;
    mov.u32 %r3, %tid.x;
    mad.lo.u32 %r4, %r1, %r2, %r3;
    ld.param.u32 %r5, [units];
    setp.ge.u32 %p0, %r4, %r5;
    @%p0 bra Done;
    ld.param.u64 %rd1, [data];
    cvta.to.global.u64 %rd2, %rd1;
    mul.wide.u32 %rd3, %r4, )" +
           bytesOfUnit + R"(;
    add.u64 %rd2, %rd2, %rd3;
    ld.param.u64 %rd4, [rowBytes];
    ld.param.u32 %r6, [rows];
    ld.param.u32 %r8, [word0];
    ld.param.u32 %r9, [word1];
    ld.param.u32 %r10, [word2];
    ld.param.u32 %r11, [word3];
    mov.u32 %r7, %ctaid.y;
    mov.u32 %r5, %nctaid.y;
Row:
    setp.ge.u32 %p1, %r7, %r6;
    @%p1 bra Done;
    cvt.u64.u32 %rd5, %r7;
    mul.lo.u64 %rd6, %rd5, %rd4;
    add.u64 %rd7, %rd2, %rd6;
    st.global.)" +
           store + " [%rd7], {" + words + R"(};
    add.u32 %r7, %r7, %r5;
    bra Row;
Done:
    ret;
}
)";
}

/// Fills rows with units of 8 (FillUnits8) or of 16 bytes (FillUnits16), for which the driver has no memory-set
/// operation. PTX, which the driver compiles for its device: that of sm_50 for every newer one, too.
///
/// Parameters: address of the first row and bytes from row to row, both multiples of the unit; units in a row; rows;
/// the unit in 32-bit words.
inline std::string FillKernelText() {
    return ".version 6.0\n.target sm_50\n.address_size 64\n\n" +
           FillKernelText("FillUnits8", "8", "v2.u32", "%r8, %r9") +
           FillKernelText("FillUnits16", "16", "v4.u32", "%r8, %r9, %r10, %r11");
}

} // namespace DK::Details
