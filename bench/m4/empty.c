/* The footprint probe without the library: the baseline subtracted from main.c. */
int main(void) { return 0; }
