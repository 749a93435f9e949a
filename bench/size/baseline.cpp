// The empty program every probe is measured against.
int main(int argc, char**) { return argc > 99 ? 1 : 0; }
