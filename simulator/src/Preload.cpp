// The library that is preloaded into the tool. The vendor's one brings drive features; this one
// only has to be there: it defines nothing and needs nothing, so loading it changes no program.
