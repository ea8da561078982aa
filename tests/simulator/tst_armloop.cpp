#include "simarm.h"
int main(){return 0;}
