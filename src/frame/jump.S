// The jump primitives and the arming of a guard, at machine level. The buffer is QrtJumpBuffer: EBP 0, return
// address 4, ESP 8, EBX 12, ESI 16, EDI 20, head of the exception chain 24, x87 control word 28. A Guard goes
// on with the storage block 32 and the guard around it 36.
  .hidden qrtMakeStorageBlock

// What a guard saves and links itself to: the head of the exception chain, and the block of threadStorage().
  .hidden qrtExceptionChain, qrtStorageBlock, qrtGuardRoots
  .globl qrtExceptionChain, qrtStorageBlock, qrtGuardRoots
  .bss
  .balign 8
qrtGuardRoots:
qrtExceptionChain:
  .long 0
qrtStorageBlock:
  .long 0
  .text

// Fills the buffer at EAX for the caller of the routine that this opens, with qrtGuardRoots at EDX. Uses ECX.
  .macro fill_buffer
  movl (%esp), %ecx
  movl %ebp, (%eax)
  movl %ecx, 4(%eax)
  leal 4(%esp), %ecx
  movl %ebx, 12(%eax)
  movl %ecx, 8(%eax)
  movl (%edx), %ecx
  movl %esi, 16(%eax)
  movl %edi, 20(%eax)
  movl %ecx, 24(%eax)
  movl $0, 28(%eax)
  fnstcw 28(%eax)
  .endm

  .globl "?_qrtsetjmp"
  .protected "?_qrtsetjmp"
  .type "?_qrtsetjmp", @function
"?_qrtsetjmp":
  .cfi_startproc
  call addressInCx
  addl $_GLOBAL_OFFSET_TABLE_, %ecx
  movl 4(%esp), %eax
  leal qrtGuardRoots@GOTOFF(%ecx), %edx
  fill_buffer
  xorl %eax, %eax
  ret
  .cfi_endproc
  .size "?_qrtsetjmp", .-"?_qrtsetjmp"

// int32_t qrtArmGuard(Guard*, GuardRoots*), the arguments in EAX and EDX.
  .globl qrtArmGuard
  .hidden qrtArmGuard
  .type qrtArmGuard, @function
qrtArmGuard:
  .cfi_startproc
  fill_buffer
  movl 4(%edx), %edx
  testl %edx, %edx
  jz 2f
1:
  movl (%edx), %ecx
  movl %edx, 32(%eax)
  movl %ecx, 36(%eax)
  movl %eax, (%edx)
  xorl %eax, %eax
  ret
2:
  subl $8, %esp
  .cfi_adjust_cfa_offset 8
  pushl %eax
  .cfi_adjust_cfa_offset 4
  call qrtMakeStorageBlock
  movl %eax, %edx
  popl %eax
  .cfi_adjust_cfa_offset -4
  addl $8, %esp
  .cfi_adjust_cfa_offset -8
  jmp 1b
  .cfi_endproc
  .size qrtArmGuard, .-qrtArmGuard

  .globl "?_qrtlongjmp"
  .protected "?_qrtlongjmp"
  .type "?_qrtlongjmp", @function
"?_qrtlongjmp":
  .cfi_startproc
  movl 4(%esp), %edx
  movl 8(%esp), %eax
  testl %eax, %eax
  jnz 1f
  incl %eax
1:
  call addressInCx
  addl $_GLOBAL_OFFSET_TABLE_, %ecx
  movl 24(%edx), %ebx
  movl %ebx, qrtExceptionChain@GOTOFF(%ecx)
  fninit
  fldcw 28(%edx)
  movl (%edx), %ebp
  movl 12(%edx), %ebx
  movl 16(%edx), %esi
  movl 20(%edx), %edi
  movl 8(%edx), %esp
  jmp *4(%edx)
  .cfi_endproc
  .size "?_qrtlongjmp", .-"?_qrtlongjmp"

  .type addressInCx, @function
addressInCx:
  .cfi_startproc
  movl (%esp), %ecx
  ret
  .cfi_endproc
  .size addressInCx, .-addressInCx

  .section .note.GNU-stack, "", @progbits
