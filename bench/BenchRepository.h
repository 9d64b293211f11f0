#ifndef VEXDEP_BENCHREPOSITORY_H
#define VEXDEP_BENCHREPOSITORY_H

// vexbench repository --out DIR [-n N] [--depth D]
//
// Writes a repository of N update packages in chains of D (DIR/repository),
// the package to install at the top of the first chain (DIR/target, with
// the machine's inv.xml) and DIR/baseline.sh, which runs the collectors a
// plan of that package runs, once each, one after another. Packages are
// directories, tar, tar+gzip and tar+xz archives (7, 1, 1 and 1 in 10).
int GenerateRepository(int argc, char* argv[]);

#endif // VEXDEP_BENCHREPOSITORY_H
