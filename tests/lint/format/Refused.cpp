// The same text, formatted, is what clang-format wants.
int  Sample( int value ){return value ;}
