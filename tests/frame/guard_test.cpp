// Jump primitives, as a caller written in assembler meets them, the anchors of the guards, and path
// splitting.

// Sets the buffer, then changes all that it keeps and jumps. What came back goes to `out`: the result, EBX,
// ESI, EDI, EBP and ESP less their values before, and the x87 control and status words.
extern "C" void jumpAndLook(int32_t (*set)(QrtJumpBuffer*), void (*jump)(QrtJumpBuffer*, int32_t),
                            QrtJumpBuffer* buffer, int32_t value, int32_t* out);
__asm__(R"(
  .text
  .hidden jumpAndLook
  .globl jumpAndLook
jumpAndLook:
  pushl %ebp; movl %esp, %ebp; pushl %ebx; pushl %esi; pushl %edi
  movl $0x1B1B1B1B, %ebx; movl $0x51515151, %esi; movl $0xD1D1D1D1, %edi
  movl 24(%ebp), %ecx; movl %ebp, 16(%ecx); movl %esp, 20(%ecx)
  pushl 16(%ebp); call *8(%ebp); addl $4, %esp
  testl %eax, %eax; jnz 1f
  pushl $0x0000027F; fldcw (%esp)
  pushl 20(%ebp); pushl 16(%ebp); movl 12(%ebp), %eax
  xorl %ebx, %ebx; xorl %esi, %esi; xorl %edi, %edi; xorl %ebp, %ebp
  fldz; call *%eax
1:
  movl 24(%ebp), %ecx
  movl %eax, (%ecx); movl %ebx, 4(%ecx); movl %esi, 8(%ecx); movl %edi, 12(%ecx)
  subl %ebp, 16(%ecx); subl %esp, 20(%ecx); fnstcw 24(%ecx); fnstsw 26(%ecx)
  leal -12(%ebp), %esp; popl %edi; popl %esi; popl %ebx; popl %ebp; ret
)");

TEST(Jump, RestoresWhatACallerKeeps) {
  for (const auto& [value, result] : {std::pair{0, 1}, {1, 1}, {255, 255}, {-1, -1}}) {
    QrtJumpBuffer buffer = {};
    std::vector<int32_t> out(7);
    jumpAndLook(qrtSetJump, qrtLongJump, &buffer, value, out.data());
    // At the end the control word of the set call, and an empty register stack.
    EXPECT_EQ(out, (std::vector{result, 0x1B1B1B1B, 0x51515151, int32_t(0xD1D1D1D1), 0, 0, 0x037F}));
  }
}

TEST(Guard, LeavesTheAnchorAsItWas) {
  QrtJumpBuffer outer;
  threadStorage()->anchor = &outer;
  EXPECT_EQ(_qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL), 0);
  EXPECT_EQ(threadStorage()->anchor, &outer);
  QrtHashTable* table = nullptr;
  _qrtInitHashCreate(&table, 3, 0);
  QrtHashTable* const made = table;
  _qrtInitHashCreate(&table, 3, 0);
  EXPECT_EQ(table, made) << "a table that is there stays";
  EXPECT_EQ(threadStorage()->anchor, &outer);
  threadStorage()->anchor = nullptr;
  _qrt_hash_terminate(table);
}

TEST(SplitPath, CutsAtTheLastSeparatorAndDot) {
  for (const auto& [path, parts] : {std::pair{"c:\\a.b\\name.x.cbl", "c:|\\a.b\\|name.x|.cbl"},
                                    {"/usr/lib/data", "|/usr/lib/|data|"},
                                    {"d:file.", "d:||file|."},
                                    {".profile", "|||.profile"},
                                    {"dir\\", "|dir\\||"},
                                    {"", "|||"}}) {
    char drive[8], directory[32], name[32], extension[32];
    qrtSplitPath(path, drive, directory, name, extension);
    EXPECT_EQ(std::string(drive) + "|" + directory + "|" + name + "|" + extension, parts);
    qrtSplitPath(path, nullptr, nullptr, nullptr, nullptr);
  }
}
