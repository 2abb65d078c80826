// Names that read alike once they are joined by dots, and characters that need an escape.
`timescale 1ns/1ns
module names;
  reg [3:0] \a.b ;
  if (1) begin : a
    reg [3:0] b;
  end
  reg [3:0] \"quoted" , \\\\ , \$x , \#1 , \é , \v[3:0] , \g[0].x , d$r;
  reg \a[3] , \g[3:0] , \$end ;
  genvar i;
  for (i = 0; i < 2; i = i + 1) begin : g
    reg x;
    initial #(i + 1) x = 1;
  end
  part s();
  part \s.t ();
  initial begin
    $dumpfile("dump.vcd");
    $dumpvars;
    #1 \a.b = 1; a.b = 2; \"quoted" = 3; \\\\ = 4; \$x = 5; \#1 = 6; \é = 7; \v[3:0] = 8;
    \g[0].x = 9; d$r = 10; \a[3] = 0; \g[3:0] = 1; \$end = 0;
    s.u = 1; s.t.u = 2; s.\t.u = 3; \s.t .u = 4; \s.t .t.u = 5; \s.t .\t.u = 6;
    #9 $finish;
  end
endmodule

module part;
  reg [3:0] u, \t.u ;
  if (1) begin : t
    reg [3:0] u;
  end
endmodule
