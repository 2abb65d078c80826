// Every kind of thing that a four-state simulator dumps, and every way in which nets are connected.
`timescale 1ns/100ps
module leaf(input wire clk, input wire [7:0] d, inout wire pad, output reg [7:0] q, output wire odd);
  parameter STEP = 3;
  localparam real RATIO = 0.5;
  reg drive = 0;
  assign odd = ^q;
  assign pad = drive ? q[0] : 1'bz;
  always @(posedge clk) begin
    q <= d + STEP;
    drive <= q[1];
  end
endmodule

module tree #(parameter DEPTH = 0) (input wire clk, input wire [7:0] d, output wire [7:0] q);
  generate
    if (DEPTH == 0) begin : last
      assign q = ~d;
    end else begin : next
      wire [7:0] below;
      tree #(.DEPTH(DEPTH - 1)) inner (.clk(clk), .d(d), .q(below));
      assign q = below ^ DEPTH;
    end
  endgenerate
endmodule

module other_top;
  reg [2:0] phase = 0;
  initial repeat (20) #7 phase = phase + 1;
endmodule

module every_kind;
  reg clk = 0;
  reg [7:0] d = 8'hx;
  wire [7:0] q[0:1];
  wire [7:0] q0, q1, tree_q;
  wire odd0, odd1;
  tri1 pad;
  supply0 ground;
  supply1 power;
  wand both;
  wor either;
  tri0 kept;
  wire (weak1, weak0) gently = d[0];
  wire [3:0] tied = {power, ground, clk, 1'bz};
  wire [63:0] word;
  reg [299:0] wide = 0;
  reg signed [12:1] upward = -4;
  reg [0:15] \back+ward ;
  reg \a.b[2] = 0;
  reg [0:0] single = 1;
  wire [3:3] fourth = d[3];
  reg priced$ = 0;
  real third;
  integer levels = 2;
  integer count = 0;
  time stamp;
  real level = 0.25;
  realtime moment;
  event tick;
  reg [15:0] memory [0:7];
  int native = -1;
  byte small_native;
  bit flag;
  bit [6:0] flags;
  shortint middle;
  longint longest;
  logic [1:0] lanes;
  typedef enum logic [1:0] {IDLE, RUN, DONE} state_t;
  state_t state = IDLE;
  typedef struct packed { logic [3:0] high; logic [2:0] low; } pair_t;
  pair_t couple;
  bufif1 (strong1, strong0) gate(kept, d[0], d[1]);
  assign both = d[0];
  assign both = d[1];
  assign either = d[0];
  assign either = d[2];
  assign word = {8{d}};

  leaf one(.clk(clk), .d(d), .pad(pad), .q(q0), .odd(odd0));
  leaf #(.STEP(5)) \two.2 (.clk(clk), .d(q0), .pad(pad), .q(q1), .odd(odd1));
  tree #(.DEPTH(6)) deep(.clk(clk), .d(q1), .q(tree_q));

  genvar g;
  generate
    for (g = 0; g < 3; g = g + 1) begin : lane
      reg [g:0] bits = 0;
      always @(posedge clk) bits <= bits + 1;
    end
  endgenerate

  function [7:0] twist(input [7:0] value);
    reg [7:0] half;
    begin
      half = value >> 1;
      twist = half ^ value;
    end
  endfunction

  task bump(input [3:0] by);
    integer times;
    begin
      times = by;
      count = count + times;
    end
  endtask

  initial begin
    repeat (80) #5 clk = ~clk;
    #6000000000 repeat (10) #5 clk = ~clk;
  end
  always @(posedge clk) begin : work
    reg [3:0] inner;
    inner = count;
    d <= twist(count[7:0]);
    bump(count % 3 + 1);
    level = 0.75 - level * 2;
    if (level > 1000 || level < -1000) level = 0.125;
    moment = $realtime;
    stamp = $time;
    wide = {wide[298:0], d[0]} ^ (300'b1 << count);
    \back+ward = {count[7:0], 4'bxz01, inner};
    \a.b[2] = ~\a.b[2] ;
    single = inner[1];
    priced$ = ~priced$;
    third = level / 3;
    upward = upward + 3;
    memory[count % 8] = count;
    native = native * 3;
    small_native = native;
    flag = ~flag;
    flags = flags + 5;
    middle = middle - 7;
    longest = longest + 64'h123456789;
    lanes = inner[1:0];
    case (state)
      IDLE: state = RUN;
      RUN: state = DONE;
      default: state = IDLE;
    endcase
    couple = {inner, lanes, 1'bx};
    if (count % 5 == 0) -> tick;
    if (count % 10 == 0) -> tick;
  end

  initial begin : run
    $dumpfile("dump.vcd");
    $dumpvars(0, every_kind, other_top);
    $dumpvars(0, memory[1], memory[3]);
    if ($test$plusargs("tasks")) begin
      $tracewell_file("run.wdb");
      $tracewell_vars(levels - 2, every_kind, other_top);
      $tracewell_vars(0, memory[1], memory[3]);
    end
    #83 force q0 = 8'h5a;
    force pad = 1'b0;
    #20 release q0;
    release pad;
    #20 force d = 8'b1x0z_01xz;
    #30 release d;
    assign single = 1'bx;
    #20 deassign single;
    #7 $dumpoff;
    $tracewell_off;
    #60 $dumpon;
    $tracewell_on;
    #100 disable work;
    #6000000100 $finish;
  end
endmodule
