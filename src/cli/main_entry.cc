namespace zyl::cli {
int Main(int argc, char** argv);
}

int main(int argc, char** argv) { return zyl::cli::Main(argc, argv); }
