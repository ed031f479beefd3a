// The chain of structured exception handlers.
extern "C" {
// Read and restored by the jump primitives.
extern void* qrtExceptionChain;
void* qrtExceptionChain = nullptr;
}
