import"a.js";import1 2
import "b
import .. .
importimport A 1.0 import B 2.0 {
