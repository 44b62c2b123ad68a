#include "virtual_projector/report_tool/program.h"

int main(int argc, char** argv) { return vp::run_report(argc, argv); }
