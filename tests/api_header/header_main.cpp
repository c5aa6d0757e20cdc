// Links both single-header translation units against the shared library.
extern "C" int vek_header_c99_probe(void);
int vek_header_cxx_probe();

int main() { return vek_header_c99_probe() == 1 && vek_header_cxx_probe() == 1 ? 0 : 1; }
