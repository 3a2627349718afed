/* Reset for the Cortex-M4 under qemu-system-arm -M mps2-an386: the stack at the top of
 * the 4 MB RAM at 0x20000000, the FPU switched on before any float instruction, then
 * newlib's semihosting start-up (rdimon), which runs main and reports its exit. */
extern void _start(void);

static void reset(void) {
    *(volatile unsigned*)0xE000ED88u |= 0xFu << 20; /* CPACR: CP10 and CP11 full access */
    __asm volatile("dsb\n isb");
    _start();
}

__attribute__((section(".vectors"), used)) static void (*const vectors[2])(void) = {
    (void (*)(void))0x20400000u, reset};
