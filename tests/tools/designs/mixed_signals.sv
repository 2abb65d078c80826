// Every kind of signal that a four-state simulator writes: narrow and very wide vectors, reals,
// events, arrays, parameters, escaped names, a scope opened twice, dumping switched off and on.
`timescale 1ns/100ps
module counter #(parameter WIDTH = 8) (input wire clk, input wire reset, output reg [WIDTH-1:0] q);
  wire odd = q[0];
  always @(posedge clk) q <= reset ? {WIDTH{1'b0}} : q + 1'b1;
endmodule

module mixed_signals;
  reg clk = 0;
  reg reset;
  wire [7:0] q;
  wire [39:0] wide_q;
  reg [65599:0] huge;
  reg signed [31:0] number = -1;
  integer i;
  time stamp;
  real level = 0.1;
  event tick;
  tri pulled;
  reg drive = 1'bz;
  reg [3:0] memory [0:2];
  reg \odd.name[3] ;
  reg [0:3] \reversed+bus ;
  reg never;

  pullup (weak1) (pulled);
  assign pulled = drive;
  counter narrow (clk, reset, q);
  counter #(.WIDTH(40)) \wide-one (clk, reset, wide_q);

  always #5 clk = ~clk;

  always @(posedge clk) begin
    i = i + 1;
    level = level * -1.7;
    if (i % 7 == 0) -> tick;
    if (i % 7 == 0) begin -> tick; end
    stamp = $time;
    huge[i * 1000] = i[0];
    huge[65599] = ~huge[65599];
    memory[i % 3] = i[3:0];
    \odd.name[3] = i[1];
    \reversed+bus = {i[0], 1'bx, 1'bz, i[1]};
    drive = i[2] ? 1'bz : i[0];
  end

  initial begin : run
    reg [1:0] inner;
    $dumpfile("mixed_signals.vcd");
    $dumpvars(0, mixed_signals);
    $dumpvars(0, memory[0], memory[1]);
    i = 0;
    huge = 0;
    reset = 1;
    inner = 2'b0x;
    #12.3 reset = 0;
    #200 level = 0.0;
    level = -level;
    #50 $dumpoff;
    #50 $dumpon;
    inner = 2'b1z;
    #40 $dumpall;
    level = 1.0 / 0.0;
    #20 $finish;
  end
endmodule
