/// A library that does nothing but depend on what the real one depends on.
int cri_bench_empty(void);
int cri_bench_empty(void) {
    return 0;
}
